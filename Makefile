# The front door: every target installs what it needs, then configures and builds the
# preset it uses. See README.md.

SHELL := /bin/bash
JOBS ?= $(shell nproc)
PREFIX ?= /usr/local
FUZZ_SECONDS ?= 20
FUZZ_RUNS ?= 10000000
DEPS := scripts/install-deps.sh

.PHONY: all deps debug asan release fuzz-build fuzz-long test unit-test fuzz bench demo screenshots install format tidy clean

all: debug

deps:
	@bash $(DEPS)

debug asan release: deps
	@cmake --preset $@ >/dev/null
	@cmake --build --preset $@ -j $(JOBS)

fuzz-build: deps
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz -j $(JOBS) --target $$(cd fuzz && ls *_fuzz.cpp 2>/dev/null | sed 's/\.cpp$$//')

# The whole suite under both the plain and the sanitizer build, then each fuzz target for a
# short bounded time. CTest's summary of the asan run closes the output.
test: debug asan fuzz
	@ctest --test-dir build/debug --output-on-failure -j $(JOBS)
	@ctest --test-dir build/asan --output-on-failure -j $(JOBS)

fuzz: fuzz-build
	@bash scripts/run-fuzzers.sh build/fuzz $(FUZZ_SECONDS)

# Each target for FUZZ_RUNS inputs, built without AddressSanitizer (about eight times faster):
# the long runs look for logic faults and undefined behaviour; the short runs above keep ASan.
fuzz-long: deps
	@cmake --preset fuzz-long >/dev/null
	@cmake --build --preset fuzz-long -j $(JOBS) --target $$(cd fuzz && ls *_fuzz.cpp 2>/dev/null | sed 's/\.cpp$$//')
	@bash scripts/run-fuzzers.sh build/fuzz-long 0 $(FUZZ_RUNS)

bench: release
	@bash scripts/run-benchmarks.sh build/release

demo: debug
	@bash scripts/demo.sh build/debug

# The window's main states as PNG files in docs/screenshots, from the real model and widgets.
# As root the serving states are included (a virtual cable between private namespaces).
screenshots: deps
	@cmake --preset debug >/dev/null
	@cmake --build --preset debug -j $(JOBS) --target corvane-screenshots
	@bash scripts/screenshots.sh build/debug docs/screenshots

# Installs corvane and corvane-gui under $(PREFIX) and grants both the right to use port 67.
install: deps
	@cmake --preset release >/dev/null
	@cmake --build --preset release -j $(JOBS) --target corvane corvane-gui
	@$(if $(filter 0,$(shell id -u)),,sudo) cmake --install build/release --prefix $(PREFIX)

format:
	@git ls-files '*.cpp' '*.hpp' | xargs clang-format -i

tidy: debug
	@git ls-files 'core/*.cpp' 'cli/*.cpp' | xargs clang-tidy -p build/debug --quiet --extra-arg=-Wno-unknown-warning-option

clean:
	@rm -rf build
