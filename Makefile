# Build, test and run korvgui. Every target installs missing Debian packages first.

DEBS := cmake ninja-build g++ pkg-config qt6-base-dev qt6-base-dev-tools libgl-dev \
        libbenchmark-dev openssl xvfb xauth
SUDO := $(shell [ "$$(id -u)" = 0 ] || echo sudo)
JOBS ?= $(shell nproc)
CMAKE_GEN := -G Ninja

.PHONY: all deps build test bench run clean

all: build

deps:
	@missing=""; for p in $(DEBS); do \
	    dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q "ok installed" || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	    echo "Installing:$$missing"; \
	    $(SUDO) apt-get update && \
	    DEBIAN_FRONTEND=noninteractive $(SUDO) apt-get install -y --no-install-recommends $$missing; \
	fi

build/build.ninja: | deps
	cmake -S . -B build $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo

build: deps build/build.ninja
	cmake --build build -j $(JOBS)

build-asan/build.ninja: | deps
	cmake -S . -B build-asan $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug -DKORV_SANITIZE=ON

test: deps build-asan/build.ninja
	cmake --build build-asan -j $(JOBS)
	cd build-asan && ctest --output-on-failure -j $(JOBS)

build-bench/build.ninja: | deps
	cmake -S . -B build-bench $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Release -DKORV_BENCH=ON

bench: deps build-bench/build.ninja
	cmake --build build-bench -j $(JOBS)
	@set -e; for b in build-bench/bench/*/bench_*; do \
	    [ -x "$$b" ] || continue; echo "== $$b"; "$$b" --benchmark_counters_tabular=true; \
	done

run: build
	./build/tests/qrv16/tst_message -silent && echo "message codec: all checks passed"

clean:
	rm -rf build build-asan build-bench
