# The commands of the project; the build itself is CMake's (CMakePresets.json), below build/.

PREFIX ?= /usr/local
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
FUZZ_SECONDS ?= 60
SECONDS ?= 60
MUTANTS ?= 400
KILLS ?= 1000
CLIPS ?= 200

SOURCE_ROOMS := ybaselib yfcurve ymotion program python web/engine tests bench examples fuzz
SOURCES = $(shell find $(SOURCE_ROOMS) -name '*.h' -o -name '*.cpp')
# The test programs of the rooms that have tests with threads.
THREAD_TESTS = $(patsubst tests/%/,%_tests,$(sort $(dir $(shell grep -lE '^TEST.*Thread' tests/*/*.cpp))))
TEST := ctest --output-on-failure --no-tests=error --parallel $(JOBS)
BUILD := cmake --build --parallel $(JOBS) --preset
# The interpreter that a preset's Python package is built for; empty where it is not built.
PACKAGE_PYTHON = $$(sed -n 's/^Python_EXECUTABLE:[A-Z]*=//p' build/$(1)/CMakeCache.txt)
PROGRAM := build/release/program/yfcurve

.DEFAULT_GOAL := help
.PHONY: help run test check editor test-editor frame-times pictures python python-wheel test-wheel test-gltf test-clusters soak kills bench asan tsan fuzz mutants tidy format format-check install package clean
# A Makefile rule that failed half-way must not count as done.
.DELETE_ON_ERROR:

help: ## this list
	@awk -F ':.*## ' '/^[a-z-]+:.*## /{printf "make %-14s %s\n", $$1, $$2}' $(MAKEFILE_LIST)

run: build/release/build.ninja ## build, then report, plot and clean up examples/walk.bvh into out/
	@$(BUILD) release --target yfcurve_program
	@examples/run.sh $(PROGRAM) examples/walk.bvh out

test: check ## `check`, then the editor's tests in a browser where its tools are or can be installed
	@if cmake/install-dependencies.sh editor && $(MAKE) --no-print-directory web/node_modules/.package-lock.json; then \
		$(MAKE) --no-print-directory test-editor; \
	else echo "Going on without the editor and its tests."; fi

check: build/dependencies-pytest build/release/build.ninja ## build, then run the tests in C++ and Python
	@cmake --preset release >/dev/null # the tests of the package may have become possible
	$(BUILD) release
	$(TEST) --test-dir build/release

editor: build/engine/build.ninja web/node_modules/.package-lock.json ## build the editor for browsers into build/editor
	NODE_PATH=/usr/share/nodejs $(BUILD) editor --target editor_module
	cp build/engine/web/engine/engine.js build/engine/web/engine/engine.wasm web/src/engine/module/
	cd web && npm run build -- --outDir ../build/editor --emptyOutDir

test-editor: editor build/release/build.ninja ## build the editor, and use it in a browser
	$(BUILD) release --target yfcurve_program
	cd web && npm test

frame-times: editor build/release/build.ninja ## print how long the editor's pictures of many curves take
	$(BUILD) release --target yfcurve_program
	cd web && npm run frame-times

pictures: editor build/release/build.ninja ## make the pictures of the editor's guide anew in docs/images
	$(BUILD) release --target yfcurve_program
	cd web && YFCURVE_PICTURES=../docs/images npm run pictures

python: build/release/build.ninja ## build the Python package into build/release/python, for PYTHON or a python3 that has numpy
	cmake --preset release -DYFCURVE_BUILD_PYTHON=ON
	$(BUILD) release --target python_package
	@echo "Use it with: PYTHONPATH=$(CURDIR)/build/release/python $(call PACKAGE_PYTHON,release)"

python-wheel: build/dependencies-python build/dependencies-wheel ## build a wheel of the Python package into dist/
	python=$$(cmake/find-python.sh) && "$$python" -m pip wheel --no-deps --no-build-isolation --wheel-dir dist .

test-wheel: build/dependencies-python build/dependencies-wheel ## build a wheel, and work with it where nothing of this folder is in reach
	tests/python/wheel.sh

test-gltf: build/release/build.ninja ## read the glTF files that are written with other programs, from npm
	$(BUILD) release --target yfcurve_program
	tests/gltf/run.sh $(PROGRAM) build/gltf

test-clusters: build/dependencies-clusters build/release/build.ninja ## as root: CLIPS (200) on a Slurm of three nodes and on Dask, with kills
	$(BUILD) release --target yfcurve_program python_package
	"$(call PACKAGE_PYTHON,release)" tests/clusters/run.py $(PROGRAM) build/clusters --clips $(CLIPS) \
		--package build/release/python

soak: build/release/build.ninja ## run the tests with random input from fresh seeds for SECONDS (60)
	$(BUILD) release
	tests/soak.sh build/release $(SECONDS)

kills: build/release/build.ninja ## kill commands that write KILLS (1000) times and look at their files
	$(BUILD) release --target program_tests
	YFCURVE_KILLS=$(KILLS) build/release/tests/program/program_tests --gtest_filter='Kill.*'

bench: build/bench/build.ninja ## measure against GSL and Boost.Math, and how fast files are; tables in docs/
	$(BUILD) bench --target yfcurve_bench scenefile_bench instruction_counts
	@if [ -n "$(call PACKAGE_PYTHON,bench)" ]; then $(BUILD) bench --target python_package scene_baseline; fi
	@mkdir -p out
	@rm -f out/bench.rows
	YFCURVE_BENCH_ROWS=out/bench.rows build/bench/bench/yfcurve_bench
	YFCURVE_BENCH_ROWS=out/bench.rows build/bench/bench/scenefile_bench
	bench/report.py instructions build/bench/bench/instruction_counts out/bench.rows
	@if [ -n "$(call PACKAGE_PYTHON,bench)" ]; then \
		YFCURVE_BENCH_ROWS=out/bench.rows PYTHONPATH=build/bench/python \
			"$(call PACKAGE_PYTHON,bench)" bench/package_bench.py build/bench/bench/scene_baseline; fi
	bench/report.py table out/bench.rows out/bench.json docs/performance.md

asan: build/asan/build.ninja ## every test under address, undefined behaviour and leak sanitizers
	$(BUILD) asan
	$(TEST) --test-dir build/asan

tsan: build/tsan/build.ninja ## the tests with threads under thread sanitizer
	$(BUILD) tsan --target $(THREAD_TESTS)
	$(TEST) --test-dir build/tsan --tests-regex Thread

fuzz: build/fuzz/build.ninja ## read made-up files for FUZZ_SECONDS (60) with each reader
	$(BUILD) fuzz
	fuzz/run.sh build/fuzz $(FUZZ_SECONDS)

mutants: build/dependencies-build ## make MUTANTS (400) one-line faults and list those that no test notices
	mutants/mutants.py --count $(MUTANTS) --jobs $(JOBS) $(OPTIONS)

tidy: build/fuzz/build.ninja build/dependencies-check ## look for faults with clang-tidy; SINCE=REVISION: in what changed
	cmake/tidy.sh build/fuzz "$(SINCE)" $(TIDY_SECONDS)

format: build/dependencies-check ## reformat every source
	@clang-format -i $(SOURCES)

format-check: build/dependencies-check ## fail where `make format` would change something
	@clang-format --dry-run --Werror $(SOURCES)

install: build/release/build.ninja ## install below PREFIX (/usr/local); DESTDIR is honoured
	$(BUILD) release --target install-parts
	cmake --install build/release --prefix $(PREFIX)

package: build/release/build.ninja build/dependencies-package ## make a Debian package of what `install` installs into dist/
	$(BUILD) release --target install-parts
	cd build/release && cpack -B ../../dist
	rm -rf dist/_CPack_Packages

clean: ## remove build/ and out/
	rm -rf build out

# Stamps, so that a warm build does not look for packages again.
build/dependencies-%: cmake/install-dependencies.sh
	@cmake/install-dependencies.sh $*
	@mkdir -p build
	@touch $@

# Without these the C++ part is built alone.
build/dependencies-python: cmake/install-dependencies.sh
	@mkdir -p build
	@if cmake/install-dependencies.sh python; then touch $@; else echo "Going on without the Python package."; fi

build/dependencies-pytest: cmake/install-dependencies.sh | build/dependencies-python
	@mkdir -p build
	@if cmake/install-dependencies.sh pytest; then touch $@; else echo "Going on without all tests of the Python package."; fi

build/%/build.ninja: CMakePresets.json | build/dependencies-build
	cmake --preset $*
	@touch $@

build/engine/build.ninja: CMakePresets.json | build/dependencies-build build/dependencies-editor
	emcmake cmake --preset editor
	@touch $@

web/node_modules/.package-lock.json: web/package-lock.json | build/dependencies-editor
	cd web && npm ci --no-audit --no-fund

build/release/build.ninja: | build/dependencies-python
build/bench/build.ninja: | build/dependencies-bench
build/fuzz/build.ninja: | build/dependencies-fuzz
.SECONDARY: build/dependencies-build build/dependencies-package build/dependencies-python build/dependencies-bench build/dependencies-check build/dependencies-fuzz build/dependencies-clusters build/dependencies-editor
