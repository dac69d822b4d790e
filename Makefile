# Tessaroc: the two commands a newcomer needs.
#   make demo   installs what is missing, builds, renders an example
#   make test   installs what is missing, builds, runs every test
BUILD ?= build
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=

.PHONY: all deps configure build test tsan demo bench clean

all: build

deps:
	@scripts/install-deps

configure: deps
	@cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

test: build tsan
	@cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# The runtime and rendering tests again under ThreadSanitizer.
TSAN_BUILD ?= build-tsan
TSAN_TESTS = core_tests render_tests document_tests filters_2d_tests host_messages_tests
tsan: deps
	@cmake -S . -B $(TSAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESSAROC_TSAN=ON -DTESSAROC_BUILD_BENCH=OFF >/dev/null
	@cmake --build $(TSAN_BUILD) -j $(JOBS) --target $(TSAN_TESTS)
	@for t in $(TSAN_TESTS); do \
	  exe=$$(find $(TSAN_BUILD)/tests -name $$t -type f | head -n 1); \
	  echo "ThreadSanitizer: $$t"; \
	  TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" $$exe --gtest_brief=1 || exit 1; \
	done

demo: build
	@mkdir -p out
	@$(BUILD)/apps/tessaroc/tessaroc render examples/road.json -o out/demo.png --size 512
	@echo "demo: wrote out/demo.png (examples/road.json: a placed checkerboard whose first colour is a noise, graded)"

bench: build
	@for b in $(BUILD)/bench/*_bench; do echo "== $$b"; $$b --benchmark_min_time=0.2; done

clean:
	@rm -rf $(BUILD)
