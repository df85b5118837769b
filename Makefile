# Convenience wrapper around CMake.
BUILD ?= build
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
DEMO ?= LiFePO4
DEMO_ION ?= Li1+

.PHONY: all deps build test demo bench clean

all: build

# Debian packages the build needs; installs them as root, else prints the apt-get line.
deps:
	@bash .ci/deps

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release >/dev/null
	cmake --build $(BUILD) -j $(JOBS)

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

demo: build
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

clean:
	rm -rf $(BUILD) build-asan demo-out
