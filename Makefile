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

FUZZ_RUNS ?= 20000
FUZZ_TARGETS = FendrakeDVBStringFuzzer FendrakeBase64Fuzzer FendrakeXmlUnescapeFuzzer \
	FendrakeUtf8ShortestFormFuzzer

.PHONY: all bootstrap configure build demo test bench fuzz clean

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

# libFuzzer targets under AddressSanitizer and UndefinedBehaviorSanitizer, each
# run FUZZ_RUNS times from the committed seeds; new finds stay in the build dir.
fuzz: bootstrap
	@sh scripts/bootstrap fuzz
	cmake -S . -B $(BUILD_DIR)-fuzz -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
		-DCMAKE_BUILD_TYPE=RelWithDebInfo -DBASIC_FUZZ=ON -DBASIC_TESTS=OFF -DBASIC_WERROR=$(WERROR) \
		-DBASIC_EXAMPLES=OFF $(CMAKE_ARGS) >/dev/null
	cmake --build $(BUILD_DIR)-fuzz -j $(JOBS)
	@for target in $(FUZZ_TARGETS); do \
		echo "== $$target: $(FUZZ_RUNS) runs"; \
		mkdir -p $(BUILD_DIR)-fuzz/corpus/$$target && \
		log=$(BUILD_DIR)-fuzz/$$target.log; \
		./$(BUILD_DIR)-fuzz/fuzz/$$target -runs=$(FUZZ_RUNS) -seed=1 -max_len=512 \
			$(BUILD_DIR)-fuzz/corpus/$$target fuzz/corpus/$$target >$$log 2>&1 \
			|| { cat $$log; exit 1; }; \
		grep -E '^(#[0-9]+.*(DONE|pulse)|Done)' $$log | tail -n 2; \
	done

clean:
	rm -rf $(BUILD_DIR) $(BUILD_DIR)-bench $(BUILD_DIR)-fuzz
