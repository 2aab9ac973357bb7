# Thin wrapper over the CMake presets. `make test` and `make demo` install what is missing first.
PRESET ?= default
JOBS ?= 2

.PHONY: all setup configure build test demo bench fuzz format clean package check-install

all: build

setup:
	@bash scripts/setup.sh $(PRESET)

configure: setup
	@cmake --preset $(PRESET) >/dev/null

build: configure
	@cmake --build --preset $(PRESET) -j $(JOBS)

test: build
	@ctest --preset $(PRESET)

demo: configure
	@cmake --build --preset $(PRESET) -j $(JOBS) --target zefa_cli
	@./build/$(PRESET)/tools/zefa demo

# Benchmarks build in Release (preset `bench`), whatever PRESET says. Micro-benchmarks report
# the median (and spread) of 5 repetitions; bench_loopback takes medians of its own repetitions.
bench: setup
	@cmake --preset bench >/dev/null
	@cmake --build --preset bench -j $(JOBS) --target zefa_benchmarks
	@for b in ./build/bench/bench/bench_*; do [ -x "$$b" ] && \
	  BENCHMARK_REPETITIONS=5 BENCHMARK_REPORT_AGGREGATES_ONLY=true "$$b"; done

# Builds the libFuzzer targets with clang and runs each for FUZZ_SECONDS, seeded with the JSON
# conformance corpus and the inputs kept in fuzz/corpus/<fuzzer>/ (seeds and regressions).
FUZZ_SECONDS ?= 30
fuzz:
	@bash scripts/setup.sh fuzz
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz -j $(JOBS) --target zefa_fuzzers
	@for f in ./build/fuzz/fuzz/fuzz_*; do \
	  name=$$(basename $$f); mkdir -p build/fuzz/corpus/$$name; \
	  kept=fuzz/corpus/$$name; [ -d $$kept ] || kept=; \
	  echo "fuzz: $$name for $(FUZZ_SECONDS) s"; \
	  $$f -max_total_time=$(FUZZ_SECONDS) -timeout=10 -print_final_stats=1 \
	    build/fuzz/corpus/$$name $$kept tests/data/json-conformance/test_parsing || exit 1; done

# A .deb of everything the project installs (libraries, headers, CMake and pkg-config files, tools).
package: build
	@cmake --build --preset $(PRESET) --target package

# Installs the build into a temporary prefix and builds and runs a C++ and a C consumer against it.
check-install: build
	@bash scripts/check-install.sh $(PRESET)

format:
	@git ls-files '*.h' '*.cpp' '*.c' | xargs clang-format -i

clean:
	@rm -rf build
