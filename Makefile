# SPDX-License-Identifier: MIT
# Build, test and run korvgui. Every target installs missing Debian packages first.

# Qt Charts finds its OpenGL dependency only with libqt6opengl6-dev, which
# Debian does not pull in.
# The Python module is built with pybind11 for Debian's own python3.
DEBS := cmake ninja-build g++ pkg-config qt6-base-dev qt6-base-dev-tools qt6-charts-dev libqt6opengl6-dev libgl-dev \
        libbenchmark-dev openssl xvfb xauth famfamfam-silk lua5.4 fonts-dejavu-core python3-dev pybind11-dev
# CPack reads the binaries with file and computes their dependencies with dpkg-shlibdeps.
PACKAGE_DEBS := dpkg-dev file
# Only the tests need these: they compile and run the generated C#, pack,
# unpack and check the .deb files and the software-centre entry, merge the
# file types, dissect an exported trace and a live capture, run the Python
# module's tests with pytest (pyserial for the serial link) and serve a
# pseudo-terminal as a remote serial port.
TEST_DEBS := mono-mcs $(PACKAGE_DEBS) shared-mime-info tshark lintian appstream python3-pytest python3-serial ser2net
# Only the benchmarks need these: protobuf is the baseline they run beside,
# in C++ and in Python.
BENCH_DEBS := libprotobuf-dev protobuf-compiler python3-protobuf
SUDO := $(shell [ "$$(id -u)" = 0 ] || echo sudo)
JOBS ?= $(shell nproc)
CMAKE_GEN := -G Ninja

# Every fuzz target runs FUZZ_SECONDS, or stops after FUZZ_RUNS executions
# when that is set; one table of runs and findings follows.
FUZZ_SECONDS ?= 60
FUZZ_RUNS ?=
FUZZERS := message text definitions printers answers sequences plot telnet bis bookmarks linkoptions replay

.PHONY: all deps test-deps bench-deps build python test package bench soak run fuzz clean

all: build

deps:
	@missing=""; for p in $(DEBS) $(EXTRA_DEBS); do \
	    dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q "ok installed" || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	    echo "Installing:$$missing"; \
	    $(SUDO) apt-get update && \
	    $(SUDO) env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $$missing; \
	fi

build/build.ninja: | deps
	cmake -S . -B build $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo

build: deps build/build.ninja
	cmake --build build -j $(JOBS)

# The korv module for Python in build/python/korv, built for /usr/bin/python3.
python: deps build/build.ninja
	cmake --build build -j $(JOBS) --target python
	@echo "PYTHONPATH=$(CURDIR)/build/python /usr/bin/python3 -c 'import korv'"

build-asan/build.ninja: | deps
	cmake -S . -B build-asan $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug -DKORV_SANITIZE=ON

test-deps:
	@$(MAKE) --no-print-directory deps EXTRA_DEBS="$(TEST_DEBS)"

test: deps test-deps build-asan/build.ninja
	cmake --build build-asan -j $(JOBS)
	@# A failed run ends with what the failed tests said, so that a log cut
	@# in the middle still shows it.
	cd build-asan && ctest --output-on-failure -j $(JOBS) || { \
	    awk -f ../tests/failures.awk Testing/Temporary/LastTest.log | head -40; exit 1; }

# korvgui, korvgui-dev and python3-korv .deb files in build/.
package: build
	@$(MAKE) --no-print-directory deps EXTRA_DEBS="$(PACKAGE_DEBS)"
	cd build && cpack

bench-deps:
	@$(MAKE) --no-print-directory deps EXTRA_DEBS="$(BENCH_DEBS)"

build-bench/build.ninja: | bench-deps
	cmake -S . -B build-bench $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Release -DKORV_BENCH=ON

bench: bench-deps build-bench/build.ninja
	cmake --build build-bench -j $(JOBS)
	@set -e; for b in build-bench/bench/*/bench_*; do \
	    [ -f "$$b" ] && [ -x "$$b" ] || continue; echo "== $$b"; "$$b" --benchmark_counters_tabular=true; \
	done

# The window left running SOAK_SECONDS with both channels busy on loopback
# and logging: resident memory and event-loop lateness per minute, then the
# log checked for every message (bench/soak/soak.cpp).
SOAK_SECONDS ?= 3600
soak: bench-deps build-bench/build.ninja
	cmake --build build-bench -j $(JOBS) --target soak
	./build-bench/bench/soak/soak $(SOAK_SECONDS)

# The program on the sample files, with a settings store of its own under
# build/ (the user's settings stay untouched): channel 1 listens on
# 127.0.0.1:10000 and channel 2 connects to it, so bookmarks sent on one
# channel show up received on the other; channel 2 answers them as the
# pump-station controller of examples/pump-station.qrvans. Without a display it runs under
# xvfb-run, which is only useful for a quick check.
DEMO_CONFIG := $(CURDIR)/build/demo-config
run: build
	@mkdir -p $(DEMO_CONFIG)/Norvane
	@[ -f $(DEMO_CONFIG)/Norvane/korvgui.conf ] || cp examples/demo-settings.conf $(DEMO_CONFIG)/Norvane/korvgui.conf
	@if [ -n "$$DISPLAY$$WAYLAND_DISPLAY" ]; then \
	    XDG_CONFIG_HOME=$(DEMO_CONFIG) ./build/app/korvgui -d examples/demo.qrvdef -b examples/demo.qrvbm -a examples/pump-station.qrvans -s examples/pump-station.qrvseq; \
	else \
	    echo "No display: running under xvfb-run (Ctrl+C ends it)"; \
	    XDG_CONFIG_HOME=$(DEMO_CONFIG) xvfb-run -a ./build/app/korvgui -d examples/demo.qrvdef -b examples/demo.qrvbm -a examples/pump-station.qrvans -s examples/pump-station.qrvseq; \
	fi

build-fuzz/build.ninja: | deps
	@dpkg-query -W -f='$${Status}' clang 2>/dev/null | grep -q "ok installed" || \
	    ($(SUDO) env DEBIAN_FRONTEND=noninteractive apt-get install -y clang libclang-rt-dev)
	CXX=clang++ cmake -S . -B build-fuzz $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug -DKORV_FUZZ=ON

fuzz: deps build-fuzz/build.ninja
	cmake --build build-fuzz -j $(JOBS) $(addprefix --target fuzz_,$(FUZZERS))
	sh fuzz/fuzz-all.sh build-fuzz $(FUZZ_SECONDS) "$(FUZZ_RUNS)" $(FUZZERS)

clean:
	rm -rf build build-asan build-bench build-fuzz
