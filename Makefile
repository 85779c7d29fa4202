# The two commands of a fresh Debian machine: `make demo` and `make test`.
# Each first installs what is missing (as root), then configures, builds and runs.

SHELL := /bin/bash
.DEFAULT_GOAL := help

# Debian packages the library and the tool need: all the demo installs (qrcodegen: the QR images).
DEMO_PACKAGES := cmake ninja-build g++ pkg-config zlib1g-dev libqrcodegencpp-dev
# Those the tests (locales: the test that reads a user's decimal comma builds a German locale;
# SQLite: the conditions' SQL is checked against it; spdlog: the logging benchmark's neighbour;
# OpenSSL: base64's neighbour) and the benchmarks' neighbours need in addition (zbar and rsvg: the
# QR tests read the images back).
PACKAGES := $(DEMO_PACKAGES) locales googletest libgtest-dev libgmock-dev libbenchmark-dev \
            libhowardhinnant-date-dev libpugixml-dev libtinyxml2-dev libexpat1-dev libsqlite3-dev \
            libspdlog-dev libboost-serialization-dev libssl-dev python3 zbar-tools librsvg2-bin
# The fuzz targets need clang with libFuzzer in addition.
FUZZ_PACKAGES := clang libclang-rt-14-dev
FUZZ_SECONDS ?= 30
# The Windows build: mingw-w64 with POSIX threads, zlib and GoogleTest sources for it, Wine to
# run the tests.
WINDOWS_PACKAGES := cmake ninja-build pkg-config g++-mingw-w64-x86-64-posix libz-mingw-w64-dev \
                    googletest wine64 wine

.PHONY: help deps deps-demo deps-fuzz deps-windows demo test asan tsan sanitize bench fuzz windows clean

help:
	@echo "make demo      install what is missing, build, run the tour of vxutil"
	@echo "make test      install what is missing, build, run every test"
	@echo "make asan      all tests under AddressSanitizer and UndefinedBehaviorSanitizer"
	@echo "make tsan      the concurrency tests under ThreadSanitizer"
	@echo "make bench     build and run the benchmarks"
	@echo "make fuzz      build the fuzz targets with clang and run each for FUZZ_SECONDS"
	@echo "make windows   cross-build for 64-bit Windows with mingw-w64, run every test under Wine"
	@echo "make clean     remove build/"

# Installs missing packages when run as root, a line a step, the whole log only when a step
# fails; otherwise names the command to run as root and stops.
define install_missing
	@missing=""; \
	for p in $(1); do \
	  dpkg-query -W -f='$${Status}\n' $$p 2>/dev/null | grep -q '^install ok installed' || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  if [ "$$(id -u)" = 0 ]; then \
	    log=$$(mktemp); \
	    echo "updating the package lists"; \
	    apt-get update >$$log 2>&1 || { cat $$log; rm -f $$log; exit 1; }; \
	    echo "installing:$$missing"; \
	    DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $$missing >$$log 2>&1 \
	      || { cat $$log; rm -f $$log; exit 1; }; \
	    rm -f $$log; \
	  else \
	    echo "missing Debian packages; as root, run: apt-get install -y$$missing" >&2; exit 1; \
	  fi; \
	fi
endef

deps:
	$(call install_missing,$(PACKAGES))

deps-demo:
	$(call install_missing,$(DEMO_PACKAGES))

deps-fuzz: deps
	$(call install_missing,$(FUZZ_PACKAGES))

deps-windows:
	$(call install_missing,$(WINDOWS_PACKAGES))

# Configures a preset once, then builds it.
define build_preset
	@[ -f build/$(1)/build.ninja ] || cmake --preset $(1)
	cmake --build --preset $(1)
endef

# The tour needs the library and the tool only.
demo: deps-demo
	$(call build_preset,demo)
	bash tools/vxutil/tour.sh build/demo/tools/vxutil/vxutil

test: deps
	$(call build_preset,release)
	ctest --preset release

asan: deps
	$(call build_preset,asan)
	ctest --preset asan

tsan: deps
	$(call build_preset,tsan)
	ctest --preset tsan

sanitize: asan tsan

# The table the benchmarks end with also replaces the one in bench/README.md.
bench: deps
	$(call build_preset,release)
	VX_BENCH_README=$(CURDIR)/bench/README.md cmake --build --preset release --target run-benchmarks

fuzz: deps-fuzz
	$(call build_preset,fuzz)
	@for f in build/fuzz/fuzz/fuzz*; do \
	  [ -x "$$f" ] || continue; \
	  echo "== $$f ($(FUZZ_SECONDS) s)"; \
	  seeds=fuzz/seeds/$$(basename "$$f"); corpus=$$(mktemp -d); \
	  [ -d "$$seeds" ] || seeds=; \
	  "$$f" -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 $$corpus $$seeds || { rm -rf $$corpus; exit 1; }; \
	  rm -rf $$corpus; \
	done

windows: deps-windows
	$(call build_preset,windows)
	ctest --preset windows

clean:
	rm -rf build
