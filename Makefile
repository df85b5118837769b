# Convenience wrapper around CMake.
BUILD ?= build
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
DEMO ?= LiFePO4
DEMO_ION ?= Li1+

FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 30

.PHONY: all deps configure build test demo bench fuzz coverage clean

all: build

# Debian packages the build needs; installs them as root, else prints the apt-get line.
deps:
	@bash .ci/deps

configure: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release >/dev/null

build: configure
	cmake --build $(BUILD) -j $(JOBS)

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# The demo needs only the programs it runs, not the test suite: the screening of
# the bundled structures (import, landscape, analysis, in one command), then the
# classic analysis of the bundled LiFePO4 landscape with every output file.
demo: configure
	cmake --build $(BUILD) --target zemu zemu-screen -j $(JOBS)
	@rm -rf demo-out && mkdir -p demo-out
	@ln -sfn ../bin demo-out/bin
	@echo "== Screening the bundled structures from their CIF files alone"
	$(BUILD)/zemu-screen --ion Li1+ --keep demo-out/kept-Li -o demo-out/screen-Li.csv examples/LiFePO4
	$(BUILD)/zemu-screen --ion Na1+ --keep demo-out/kept-Na -o demo-out/screen-Na.csv examples/Na2UO4
	@echo
	@(cat demo-out/screen-Li.csv; tail -n +2 demo-out/screen-Na.csv) | \
	  awk -F, '{ printf "%-31s %-6s %-14s %-10s %-5s %-9s %-9s %-9s %-9s %-9s %-9s %-9s %s\n", \
	    $$1, $$2, $$4, $$5, $$7, $$9, $$13, $$14, $$15, $$16, $$17, $$18, $$19 }'
	@echo
	@echo "== The classic analysis of the bundled $(DEMO) landscape"
	cd demo-out && ../$(BUILD)/zemu --cube ../examples/$(DEMO)/landscape.cube \
	  --cif ../examples/$(DEMO)/structure.cif $(DEMO_ION) --summary --print-minima --print-saddle \
	  --path --print-act --gui --vesta
	@echo
	@echo "Output files written to demo-out/:"
	@ls -1 demo-out | grep -v '^bin$$' | sed 's/^/  /'

bench: build
	cmake --build $(BUILD) --target zemu_bench -j $(JOBS)
	cd $(BUILD) && ./zemu_bench

# libFuzzer harnesses (clang), each run for FUZZ_SECONDS over its seed corpus.
fuzz:
	@bash .ci/deps clang libclang-rt-14-dev
	CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -DCMAKE_BUILD_TYPE=Release -DZEMU_FUZZ=ON -DZEMU_TESTS=OFF >/dev/null
	cmake --build $(FUZZ_BUILD) -j $(JOBS)
	tests/fuzz/run.sh $(FUZZ_BUILD) $(FUZZ_SECONDS)

# Line coverage of the library by the test suite (gcov counters, build-cov/).
coverage: deps
	tools/coverage.sh build-cov

clean:
	rm -rf $(BUILD) build-asan build-cov $(FUZZ_BUILD) demo-out
