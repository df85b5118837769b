# Convenience wrapper around CMake.
BUILD ?= build
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
DEMO ?= LiFePO4
DEMO_ION ?= Li1+

FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 30

.PHONY: all deps configure build test demo bench fuzz clean

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

# The demo needs only the program, not the test suite.
demo: configure
	cmake --build $(BUILD) --target zemu -j $(JOBS)
	@rm -rf demo-out && mkdir -p demo-out
	@ln -sfn ../bin demo-out/bin
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

clean:
	rm -rf $(BUILD) build-asan $(FUZZ_BUILD) demo-out
