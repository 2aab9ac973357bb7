# Thin wrapper over the CMake presets. `make test` and `make demo` install what is missing first.
PRESET ?= default
JOBS ?= 2

.PHONY: all setup configure build test demo bench format clean

all: build

setup:
	@bash scripts/setup.sh

configure: setup
	@cmake --preset $(PRESET) >/dev/null

build: configure
	@cmake --build --preset $(PRESET) -j $(JOBS)

test: build
	@ctest --preset $(PRESET)

demo: configure
	@cmake --build --preset $(PRESET) -j $(JOBS) --target zefa_demo
	@./build/$(PRESET)/examples/zefa_demo

bench: configure
	@cmake --build --preset $(PRESET) -j $(JOBS) --target zefa_benchmarks
	@for b in ./build/$(PRESET)/bench/bench_*; do [ -x "$$b" ] && "$$b"; done

format:
	@git ls-files '*.h' '*.cpp' '*.c' | xargs clang-format -i

clean:
	@rm -rf build
