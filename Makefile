# Thin wrapper over the CMake presets. `make test` and `make demo` work on a fresh
# Debian machine: both run scripts/bootstrap first.
PRESET ?= dev
JOBS ?= $(shell nproc)
BUILD := build/$(PRESET)
# The tool as users run it: optimised, from the release preset.
VELMORA := build/release/tools/velmora/velmora

.PHONY: all bootstrap configure build test tool demo bench sanitize sanitize-ci static-check fuzz format clean install package

all: build

bootstrap:
	@scripts/bootstrap

configure: bootstrap
	@cmake --preset $(PRESET) >/dev/null

build: configure
	@cmake --build --preset $(PRESET) -j $(JOBS)

test: build
	@ctest --preset $(PRESET) -j $(JOBS)

# Only the tool's target of the release preset: an optimised program without building
# the release tests and benchmarks.
tool: bootstrap
	@cmake --preset release >/dev/null
	@cmake --build --preset release -j $(JOBS) --target velmora_tool
	@echo "velmora is $(VELMORA); put it on PATH with:"
	@echo "  export PATH=\"$(CURDIR)/$(dir $(VELMORA)):\$$PATH\""

demo: tool
	@scripts/demo $(VELMORA)

# Every benchmark, then one table of Velmora against its peers; BENCH=json runs one program.
bench:
	@scripts/bootstrap bench
	@$(MAKE) --no-print-directory build PRESET=release
	@scripts/bench build/release "$(BENCH)"

# The same suites under AddressSanitizer+UBSan and ThreadSanitizer.
sanitize:
	@$(MAKE) --no-print-directory test PRESET=asan
	@$(MAKE) --no-print-directory test PRESET=tsan

# What CI runs after `make test`: the whole suite under AddressSanitizer+UBSan, then
# ThreadSanitizer on the suites where threads meet (building only their test programs).
# The TSan suites run one at a time, cheapest first: messaging's tests start the tool, so
# its program needs every module built under TSan, and should CI's time run out there
# (.ci/run stops the stage), the suites before it have been checked.
TSAN_SUITES ?= platform services collections messaging
TSAN_PRESENT := $(foreach m,$(TSAN_SUITES),$(if $(wildcard tests/$(m)/*Test.cpp),$(m)))
# Left out of the AddressSanitizer run: the GL suites (Mesa's driver is unloaded before the
# leak check, so its own allocations can be neither attributed nor suppressed).
ASAN_CI_SKIP := -LE '^imaging$$' -E 'ImageTool\.|ImagesAreWrittenOnlyToFilesAndNewPaths'
sanitize-ci:
	@$(MAKE) --no-print-directory build PRESET=asan
	@ctest --preset asan -j $(JOBS) $(ASAN_CI_SKIP)
	@cmake --preset tsan >/dev/null
	@set -e; for m in $(TSAN_PRESENT); do \
	    cmake --build --preset tsan -j $(JOBS) --target velmora_$${m}_tests; \
	    ctest --preset tsan -j $(JOBS) -L "^$${m}\$$"; \
	done

# A static build (VELMORA_SHARED=OFF) of the tool only, checked for what static archives
# lose: objects nothing names, such as the filters that register themselves.
static-check: bootstrap
	@cmake --preset static >/dev/null
	@cmake --build --preset static -j $(JOBS) --target velmora_tool
	@ctest --preset static -R '^image_filters_catalogue$$'

# Every fuzz target under libFuzzer for FUZZ_SECONDS each (clang preset `fuzz`).
FUZZ_SECONDS ?= 60
fuzz:
	@scripts/bootstrap fuzz
	@$(MAKE) --no-print-directory build PRESET=fuzz
	@scripts/fuzz build/fuzz $(FUZZ_SECONDS)

# Optimised libraries, tool, headers, CMake and pkg-config files under PREFIX.
PREFIX ?= /usr/local
install:
	@$(MAKE) --no-print-directory build PRESET=package
	@cmake --install build/package --prefix "$(PREFIX)"

# Debian packages (libvelmora0, velmora, libvelmora-dev) in build/package/.
package:
	@$(MAKE) --no-print-directory build PRESET=package
	@cd build/package && cpack -G DEB

format:
	@git ls-files '*.h' '*.cpp' '*.c' | xargs clang-format -i

clean:
	@rm -rf build
