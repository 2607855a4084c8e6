# Build, test and run korvgui. Every target installs missing Debian packages first.

DEBS := cmake ninja-build g++ pkg-config qt6-base-dev qt6-base-dev-tools libgl-dev \
        libbenchmark-dev openssl xvfb xauth famfamfam-silk lua5.4
SUDO := $(shell [ "$$(id -u)" = 0 ] || echo sudo)
JOBS ?= $(shell nproc)
CMAKE_GEN := -G Ninja

FUZZ_SECONDS ?= 60
FUZZERS := message text definitions

.PHONY: all deps build test bench run fuzz clean

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

# Until the main window exists: the definitions check and the sample
# messages through the command-line tool, there and back.
run: build
	./build/cli/korv check examples/demo.qrvdef
	./build/cli/korv encode -d examples/demo.qrvdef < examples/messages.txt
	./build/cli/korv encode --raw -d examples/demo.qrvdef < examples/messages.txt \
	    | ./build/cli/korv decode --multi-line -d examples/demo.qrvdef

build-fuzz/build.ninja: | deps
	@dpkg-query -W -f='$${Status}' clang 2>/dev/null | grep -q "ok installed" || \
	    (DEBIAN_FRONTEND=noninteractive $(SUDO) apt-get install -y clang libclang-rt-dev)
	CXX=clang++ cmake -S . -B build-fuzz $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug -DKORV_FUZZ=ON

fuzz: deps build-fuzz/build.ninja
	cmake --build build-fuzz -j $(JOBS) $(addprefix --target fuzz_,$(FUZZERS))
	@mkdir -p $(addprefix build-fuzz/corpus/,$(FUZZERS))
	@cp examples/demo.qrvdef build-fuzz/corpus/definitions/
	@cp examples/messages.txt build-fuzz/corpus/text/
	@set -e; for f in $(FUZZERS); do \
	    echo "== fuzz_$$f for $(FUZZ_SECONDS) s"; \
	    ./build-fuzz/fuzz/fuzz_$$f -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 build-fuzz/corpus/$$f; \
	done

clean:
	rm -rf build build-asan build-bench build-fuzz
