# Convenience front over CMake. Each target first makes sure the Debian
# packages of the build are installed.
BUILD_DIR ?= build
BUILD_TYPE ?= RelWithDebInfo
WERROR ?= OFF
SANITIZE ?= OFF
TSAN ?= OFF
JOBS ?= $(shell nproc)
CMAKE_ARGS ?=

CONFIGURE = cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) \
	-DBASIC_WERROR=$(WERROR) -DBASIC_SANITIZE=$(SANITIZE) -DBASIC_TSAN=$(TSAN) $(CMAKE_ARGS)

.PHONY: all bootstrap configure build demo test bench clean

all: build

bootstrap:
	@sh scripts/bootstrap

configure: bootstrap
	@$(CONFIGURE) >/dev/null

build: configure
	cmake --build $(BUILD_DIR) -j $(JOBS)

demo: configure
	cmake --build $(BUILD_DIR) -j $(JOBS) --target demo
	./$(BUILD_DIR)/examples/demo/demo

test: build
	cd $(BUILD_DIR) && ctest -j $(JOBS) --output-on-failure

bench: bootstrap
	cmake -S . -B $(BUILD_DIR)-bench -DCMAKE_BUILD_TYPE=Release -DBASIC_TESTS=OFF \
		-DBASIC_BENCH=ON $(CMAKE_ARGS) >/dev/null
	cmake --build $(BUILD_DIR)-bench -j $(JOBS)
	@echo "Benchmarks are in $(BUILD_DIR)-bench/bench/; run them one by one."

clean:
	rm -rf $(BUILD_DIR) $(BUILD_DIR)-bench
