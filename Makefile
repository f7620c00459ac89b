# The front of the house. Each target installs the Debian packages that it needs, when they are missing.
.DEFAULT_GOAL := help
.PHONY: help demo test check style asan fuzz bench corpus format build install package clean
.NOTPARALLEL:

PREFIX ?= /usr/local
JOBS ?= $(shell nproc)
FUZZ_SECONDS ?= 60
CORPUS ?=

# Configures a preset, and is silent about it when all is well.
configure = @mkdir -p build; cmake --preset $(1) >build/$(1).configure.log 2>&1 || { cat build/$(1).configure.log; exit 1; }
compile = @cmake --build --preset $(1) -j $(JOBS) $(if $(2),--target $(2))

help: ## this list
	@awk -F ':.*## ' '/^[a-z]+:.*## / {printf "  make %-9s %s\n", $$1, $$2}' Makefile

demo: build ## build, then describe, decode and verify the sample files in tests/data
	@tools/demo.sh build/release/bin/zel

test: ## build and run every test
	@tools/install-deps.sh test
	$(call configure,dev)
	$(call compile,dev)
	@ctest --preset dev -j $(JOBS)

check: ## what must hold before a commit: format, style, layering, headers alone, clang-tidy
	@tools/install-deps.sh check
	$(call configure,dev)
	@tools/check

asan: ## build and run every test under AddressSanitizer and UndefinedBehaviorSanitizer
	@tools/install-deps.sh test
	$(call configure,asan)
	$(call compile,asan)
	@tools/with-sanitizers ctest --preset asan -j $(JOBS)

fuzz: ## run each fuzz target for FUZZ_SECONDS (60) from its seeds
	@tools/install-deps.sh fuzz
	$(call configure,fuzz)
	$(call compile,fuzz,fuzz/all)
	@tools/fuzz.sh build/fuzz $(FUZZ_SECONDS)

bench: build ## measure ourselves beside plain programs and the peers that are installed
	$(call compile,release,bench)
	@bench/compare.sh build/release/bin

corpus: build ## compare with what other projects expect of their files: make corpus CORPUS=DIR
	@tools/install-deps.sh corpus
	@test -n "$(CORPUS)" || { echo "usage: make corpus CORPUS=DIR, a folder with an expected.tsv or with folders that have one"; exit 2; }
	$(call configure,dev)
	$(call compile,dev,tag_tool)
	@python3 tests/corpus/run_corpus.py --zel build/release/bin/zel --tag-tool build/dev/bin/tag_tool "$(CORPUS)"

format: ## lay out every source as the checks want it
	@tools/install-deps.sh check
	@tools/check-format --fix

build: ## build the program and the plug-in as they are installed, in build/release
	@tools/install-deps.sh build
	$(call configure,release)
	$(call compile,release)

install: build ## install below PREFIX (/usr/local); DESTDIR is honoured
	@cmake --install build/release --prefix "$(PREFIX)" --strip

package: build ## make a Debian package in build/release
	@tools/install-deps.sh package
	@cd build/release && cpack -G DEB

clean: ## remove everything that was built
	@cmake -E rm -rf build
