# Front door: `make demo` and `make test` work on a fresh machine.
BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc)
GENERATOR  := $(shell command -v ninja >/dev/null 2>&1 && echo Ninja || echo "Unix Makefiles")

.PHONY: all build test asan-test demo bench clean format fuzz fuzz-deps

all: build

$(BUILD)/CMakeCache.txt:
	cmake -S . -B $(BUILD) -G "$(GENERATOR)" -DCMAKE_BUILD_TYPE=RelWithDebInfo

build: $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

$(ASAN_BUILD)/CMakeCache.txt:
	cmake -S . -B $(ASAN_BUILD) -G "$(GENERATOR)" -DCMAKE_BUILD_TYPE=Debug -DSANITIZE=ON -DBUILD_BENCH=OFF

asan-test: $(ASAN_BUILD)/CMakeCache.txt
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=0 UBSAN_OPTIONS=print_stacktrace=1 ctest --test-dir $(ASAN_BUILD) --output-on-failure -j $(JOBS)

demo: build
	bash tools/demo.sh $(BUILD)

bench: build
	bash bench/run.sh $(BUILD)

# Fuzzing: every reader of outside data under libFuzzer + ASan + UBSan (clang), each target for
# FUZZ_SECONDS, FUZZ_JOBS at a time; FUZZ_MERGE=1 adds new coverage to fuzz/corpus/.
FUZZ_BUILD   ?= build-fuzz
FUZZ_SECONDS ?= 600
FUZZ_JOBS    ?= 2
FUZZ_MERGE   ?= 0

fuzz-deps:
	@echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }' \
	  | clang++ -fsanitize=fuzzer -x c++ - -o /dev/null 2>/dev/null \
	  || (apt-get update && apt-get install -y clang libclang-rt-14-dev)

$(FUZZ_BUILD)/CMakeCache.txt: | fuzz-deps
	cmake -S . -B $(FUZZ_BUILD) -G "$(GENERATOR)" -DCMAKE_CXX_COMPILER=clang++ -DFUZZ=ON \
	  -DBUILD_TESTS=OFF -DBUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo

fuzz: fuzz-deps $(FUZZ_BUILD)/CMakeCache.txt
	cmake --build $(FUZZ_BUILD) -j $(JOBS)
	FUZZ_SECONDS=$(FUZZ_SECONDS) FUZZ_JOBS=$(FUZZ_JOBS) FUZZ_MERGE=$(FUZZ_MERGE) \
	  bash fuzz/run.sh $(FUZZ_BUILD)

format:
	clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
