# The front door. `make` alone tells what there is.
.DEFAULT_GOAL := help
MAKEFLAGS += --no-print-directory
jobs := $(shell nproc)

.PHONY: help setup build run test simulate bench bench-mcp bench-windows package desktop format lint asan tsan fuzz clean

help:            ## this list
	@sed -nE 's/^([a-z-]+):[^#]*## (.*)/make \1	\2/p' $(MAKEFILE_LIST) | expand -t 16

setup:           ## install what is missing
	@scripts/setup

build: setup     ## build the programs into build/bin
	@$(MAKE) ninja-dev

run: build       ## start Quillet; without a display, show it at work in a virtual desktop
	@scripts/run

test: build      ## build and run all tests
	@ctest --preset dev --parallel $(jobs)

simulate: setup  ## live through random evenings; EVENINGS=10000: so many; SEED=7: tell of that one
	@$(MAKE) ninja-dev targets=quillet_simulate
	@build/bin/quillet_simulate --jobs $(jobs) $(SEED:%=--seed %) $(EVENINGS:%=--evenings %)

bench: setup     ## measure an optimised build
	@$(MAKE) ninja-release
	@scripts/bench

bench-mcp: setup ## measure an optimised build's server for AI clients against others
	@$(MAKE) ninja-release
	@scripts/bench-mcp

bench-windows: setup ## measure how quickly an optimised build's windows appear
	@$(MAKE) ninja-release
	@scripts/bench-windows

package: setup   ## make a Debian package in build-release
	@scripts/package

desktop: build   ## a virtual desktop with Quillet, an editor and a shell
	@scripts/desktop

format:          ## format all sources
	@tests/style/check-format --fix

lint: build      ## run clang-tidy; SINCE=main: only over what changed since then
	@scripts/lint $(SINCE)

asan: setup      ## all tests with AddressSanitizer and UndefinedBehaviorSanitizer
	@$(MAKE) ninja-asan
	@ctest --preset asan --parallel $(jobs)

tsan: setup      ## all tests with ThreadSanitizer
	@$(MAKE) ninja-tsan
	@ctest --preset tsan --parallel $(jobs)

fuzz: setup      ## look for inputs that break a rule; FUZZ_SECONDS=300: so long for each target
	@$(MAKE) ninja-fuzz
	@scripts/fuzz

clean:           ## remove everything that was built
	@rm -rf build build-release build-asan build-tsan build-fuzz

# One build folder a preset: "dev" is build, the others carry their name.
folder = build$(if $(filter-out dev,$(1)),-$(1))

.PHONY: ninja-dev ninja-release ninja-asan ninja-tsan ninja-fuzz
ninja-dev ninja-release ninja-asan ninja-tsan ninja-fuzz: ninja-%:
	@[ $(call folder,$*)/build.ninja -nt CMakePresets.json ] || cmake --preset $* --log-level=WARNING
	@ninja -C $(call folder,$*) $(if $(filter fuzz,$*),fuzzers) $(targets)
