# Tessaroc: the two commands a newcomer needs.
#   make demo   installs what is missing, builds, renders an example
#   make test   installs what is missing, builds, runs every test, checks the
#               installed library and the Release build
BUILD ?= build
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=

.PHONY: all deps configure build test unit-tests tsan san-configure asan fuzz installed release demo bench clean

all: build

deps:
	@scripts/install-deps

configure: deps
	@cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

test: unit-tests tsan asan fuzz installed release

# Every suite of the build, the Python module's among them.
unit-tests: build
	@cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# The runtime and rendering tests again under ThreadSanitizer.
TSAN_BUILD ?= build-tsan
TSAN_TESTS = core_tests catalogue_tests render_tests document_tests filters_2d_tests host_messages_tests
tsan: deps
	@cmake -S . -B $(TSAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESSAROC_TSAN=ON -DTESSAROC_BUILD_BENCH=OFF >/dev/null
	@cmake --build $(TSAN_BUILD) -j $(JOBS) --target $(TSAN_TESTS)
	@for t in $(TSAN_TESTS); do \
	  exe=$$(find $(TSAN_BUILD)/tests -name $$t -type f | head -n 1); \
	  echo "ThreadSanitizer: $$t"; \
	  TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 suppressions=$(CURDIR)/tests/tsan.supp" $$exe --gtest_brief=1 || exit 1; \
	done

# AddressSanitizer and UndefinedBehaviorSanitizer (float-to-integer overflow
# included, every report fatal), with clang: every test suite of tests/, then
# the fuzz targets. Both share one build, so the library is built once for them.
SAN_BUILD ?= build-asan
SAN_CXX ?= clang++-16
SAN_CC ?= clang-16
ASAN_TESTS = $(shell grep -hoE '^tessaroc_test.[a-z0-9_]+' $$(find tests -name CMakeLists.txt) | cut -c15- | sort)
export ASAN_OPTIONS = detect_leaks=1:abort_on_error=1:strict_string_checks=1
export UBSAN_OPTIONS = print_stacktrace=1
# Debian's llvm-symbolizer names our frames in the reports.
export ASAN_SYMBOLIZER_PATH = $(firstword $(wildcard /usr/bin/llvm-symbolizer-16 /usr/bin/llvm-symbolizer-14))
export LSAN_OPTIONS = suppressions=$(CURDIR)/tests/fuzz/lsan.supp:print_suppressions=0
san-configure: deps
	@CC=$(SAN_CC) CXX=$(SAN_CXX) cmake -S . -B $(SAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESSAROC_FUZZ=ON \
	  -DTESSAROC_BUILD_BENCH=OFF -DTESSAROC_PYTHON=OFF >/dev/null

asan: san-configure
	@cmake --build $(SAN_BUILD) -j $(JOBS) --target $(ASAN_TESTS)
	@for t in $(ASAN_TESTS); do \
	  exe=$$(find $(SAN_BUILD)/tests -name $$t -type f | head -n 1); \
	  echo "AddressSanitizer+UBSan: $$t"; \
	  $$exe --gtest_brief=1 || exit 1; \
	done

# Each fuzz target for FUZZ_SECONDS from its seeds (the examples) and its
# regression inputs (tests/fuzz/regressions), with a fixed seed so that a run
# in CI is the run a developer repeats. A finding is written to
# $(SAN_BUILD)/fuzz-findings; add it to the regressions once fixed.
# An input counts as hanging after 60 s: under AddressSanitizer every large
# buffer is a fresh mapping, so a damaged 16 x 49932 TIFF whose lookups reread
# its scanlines takes 35 s there (0.2 s in a normal build).
FUZZ_SECONDS ?= 60
FUZZ_FLAGS = -seed=1 -timeout=60 -rss_limit_mb=3072 -print_final_stats=1 \
  -artifact_prefix=$(abspath $(SAN_BUILD))/fuzz-findings/
fuzz: san-configure
	@cmake --build $(SAN_BUILD) -j $(JOBS) --target document_fuzzer image_fuzzer
	@mkdir -p $(SAN_BUILD)/fuzz-findings $(SAN_BUILD)/fuzz-corpus/document $(SAN_BUILD)/fuzz-corpus/image
	@for t in document image; do \
	  echo "fuzz: $${t}_fuzzer on its regression inputs"; \
	  $(SAN_BUILD)/tests/fuzz/$${t}_fuzzer $(FUZZ_FLAGS) tests/fuzz/regressions/$$t/* > $(SAN_BUILD)/fuzz-$$t.log 2>&1 \
	    || { tail -n 60 $(SAN_BUILD)/fuzz-$$t.log; exit 1; }; \
	done
	@for t in document image; do \
	  seeds=examples; [ $$t = image ] && seeds=examples/images; \
	  echo "fuzz: $${t}_fuzzer for $(FUZZ_SECONDS) s"; \
	  $(SAN_BUILD)/tests/fuzz/$${t}_fuzzer $(FUZZ_FLAGS) -max_total_time=$(FUZZ_SECONDS) \
	    $(SAN_BUILD)/fuzz-corpus/$$t $$seeds tests/fuzz/regressions/$$t > $(SAN_BUILD)/fuzz-$$t.log 2>&1 \
	    || { tail -n 60 $(SAN_BUILD)/fuzz-$$t.log; exit 1; }; \
	  grep -E "^stat::number_of_executed_units" $(SAN_BUILD)/fuzz-$$t.log; \
	done

# The installed library and program, as a user gets them: install to a
# temporary prefix, build examples/embedding against it with CMake and with
# pkg-config and run it; then move the prefix, rename the build tree away and
# check that the installed program renders an example as the build tree's did.
STAGE = $(abspath $(BUILD))-installed
QUIETLY = > $(STAGE)/log 2>&1 || { cat $(STAGE)/log; exit 1; }
installed: build
	@rm -rf $(STAGE) && mkdir -p $(STAGE)
	@cmake --install $(BUILD) --prefix $(STAGE)/prefix $(QUIETLY)
	@cmake -S examples/embedding -B $(STAGE)/embedding -G Ninja -DCMAKE_PREFIX_PATH=$(STAGE)/prefix $(QUIETLY)
	@cmake --build $(STAGE)/embedding $(QUIETLY)
	@$(STAGE)/embedding/embedding examples/road.json $(QUIETLY)
	@export PKG_CONFIG_PATH=$$(dirname $$(find $(STAGE)/prefix -name tessaroc.pc)); \
	  c++ -std=c++20 -Wall -Wextra -Wno-unused-variable examples/embedding/main.cpp -o $(STAGE)/embedding-pc \
	    $$(pkg-config --cflags tessaroc) $$(pkg-config --libs --static tessaroc) $(QUIETLY)
	@$(STAGE)/embedding-pc examples/road.json $(QUIETLY)
	@$(BUILD)/apps/tessaroc/tessaroc render examples/road.json -o $(STAGE)/in-tree.exr --size 96 --quiet
	@mv $(STAGE)/prefix $(STAGE)/moved
	@mv $(BUILD) $(BUILD).away; cd /tmp && \
	  $(STAGE)/moved/bin/tessaroc render $(CURDIR)/examples/road.json -o $(STAGE)/moved.exr --size 96 --quiet && \
	  { [ ! -d $(STAGE)/moved/lib/python3* ] || \
	    PYTHONPATH=$$(echo $(STAGE)/moved/lib/python3*/dist-packages) /usr/bin/python3 -c "import sys, tessaroc; tessaroc.Material.from_file(sys.argv[1]).render(8, 8)" \
	      $(CURDIR)/examples/road.json; }; \
	  status=$$?; cd $(CURDIR) && mv $(BUILD).away $(BUILD) && exit $$status
	@idiff -fail 0 -warn 0 $(STAGE)/in-tree.exr $(STAGE)/moved.exr $(QUIETLY)
	@echo "installed: library, headers, CMake package, pkg-config file, program and Python module work from a moved prefix"

# Release is the build type users pick; it must build too (-O3 finds warnings
# -O2 does not). The library and the program are enough.
RELEASE_BUILD ?= build-release
release: deps
	@cmake -S . -B $(RELEASE_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Release -DTESSAROC_BUILD_TESTS=OFF \
	  -DTESSAROC_BUILD_BENCH=OFF -DTESSAROC_PYTHON=OFF >/dev/null
	@cmake --build $(RELEASE_BUILD) -j $(JOBS) --target tessaroc tessaroc_library
	@echo "release: library and program build with -DCMAKE_BUILD_TYPE=Release"

demo: build
	@mkdir -p out
	@$(BUILD)/apps/tessaroc/tessaroc render examples/road.json -o out/demo.png --size 512
	@echo "demo: wrote out/demo.png (examples/road.json: a placed checkerboard whose first colour is a noise, graded)"

bench: build
	@for b in $(BUILD)/bench/*_bench; do echo "== $$b"; $$b --benchmark_min_time=0.2; done

clean:
	@rm -rf $(BUILD) $(STAGE) $(TSAN_BUILD) $(RELEASE_BUILD) $(SAN_BUILD)
