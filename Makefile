# The commands of the project. Each installs what is missing, builds, and runs; `make help` lists
# them. Under them lie the presets of CMakePresets.json, which docs/building.md describes.

JOBS ?= $(shell nproc)

# $(call build,PRESET[,TARGETS]) configures and builds a preset.
define build
@scripts/install-packages.sh
cmake --preset $(1)
cmake --build --preset $(1) --parallel $(JOBS) $(if $(2),--target $(2))
endef

.DEFAULT_GOAL := all
.PHONY: all help windows demo test test-asan test-tsan bench check format clean

all:
	$(call build,linux-release)

windows:
	$(call build,windows-release)

demo:
	$(call build,linux-release,tavud example_demo)
	@tests/run_with_server.sh build/linux-release/tavud -- \
		build/linux-release/example_demo 127.0.0.1:@PORT@/SYSTEM

test:
	$(call build,linux-release)
	$(call build,windows-release)
	ctest --preset linux-release --parallel $(JOBS)
	ctest --preset windows-release --parallel $(JOBS)

test-asan:
	$(call build,linux-asan)
	ctest --preset linux-asan --parallel $(JOBS)

test-tsan:
	$(call build,linux-tsan)
	ctest --preset linux-tsan --parallel $(JOBS)

bench:
	$(call build,linux-release)
	@set -e; for bench in build/linux-release/bench_*; do echo "== $$bench"; $$bench; done

check:
	$(call build,linux-release,TavuOCI)
	$(call build,windows-release,TavuOCI)
	scripts/format --check
	scripts/check_layers
	scripts/check_readme
	scripts/check_waits
	scripts/check_coverage
	scripts/check_exports cmake/exports.txt build/linux-release/libTavuOCI.so
	scripts/check_exports cmake/exports.txt build/windows-release/TavuOCI.dll

format:
	@scripts/install-packages.sh
	scripts/format

clean:
	rm -rf build

help:
	@echo 'make            build everything for Linux, optimised, in build/linux-release'
	@echo 'make demo       run the demo program against the development server'
	@echo 'make test       run every test, on Linux and for Windows under Wine'
	@echo 'make test-asan  run every test under AddressSanitizer, UndefinedBehaviorSanitizer'
	@echo 'make test-tsan  run every test under ThreadSanitizer'
	@echo 'make bench      run the benchmarks'
	@echo 'make check      check layout, layers, documents, exported functions'
	@echo 'make format     lay out every source as .clang-format says'
	@echo 'make windows    build the DLL and its tests in build/windows-release'
	@echo 'make clean      remove build/'
