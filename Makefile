# Tessaroc: the two commands a newcomer needs.
#   make demo   installs what is missing, builds, renders an example
#   make test   installs what is missing, builds, runs every test
BUILD ?= build
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=

.PHONY: all deps configure build test demo bench clean

all: build

deps:
	@scripts/install-deps

configure: deps
	@cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

test: build
	@cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

demo: build
	@$(BUILD)/bench/effects_bench --benchmark_min_time=0.05 --benchmark_filter='Invert'

bench: build
	@$(BUILD)/bench/effects_bench

clean:
	@rm -rf $(BUILD)
