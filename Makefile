# Two commands set everything up on a fresh Debian 12 machine:
#   make run    install what is missing, build (Release), start the app
#   make test   install what is missing, build with sanitizers, run every test
#               (AddressSanitizer and UBSan, then ThreadSanitizer)
GENERATOR     ?= Ninja
RELEASE_DIR   ?= build/release
TEST_DIR      ?= build/asan
TSAN_DIR      ?= build/tsan
JOBS          ?= $(shell nproc)

# Lets ccache reuse objects between clones of the repository (paths are made relative).
export CCACHE_BASEDIR := $(CURDIR)

.PHONY: all deps build run test tsan bench live-cpu loudness-day package soak fuzz clean

all: build

deps:
	@bash scripts/install-deps.sh

$(RELEASE_DIR)/build.ninja:
	cmake -S . -B $(RELEASE_DIR) -G $(GENERATOR) -DCMAKE_BUILD_TYPE=Release

build: deps $(RELEASE_DIR)/build.ninja
	cmake --build $(RELEASE_DIR) -j $(JOBS) --target kelvrameters

run: build
	$(RELEASE_DIR)/cli/kelvrameters $(ARGS)

$(TEST_DIR)/build.ninja:
	cmake -S . -B $(TEST_DIR) -G $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	      -DKELVRA_SANITIZE=ON -DKELVRA_BUILD_BENCH=OFF

test: deps $(TEST_DIR)/build.ninja $(TSAN_DIR)/build.ninja
	cmake --build $(TEST_DIR) -j $(JOBS)
	bash scripts/run-tests.sh $(TEST_DIR)
	cmake --build $(TSAN_DIR) -j $(JOBS)
	bash scripts/run-tests.sh $(TSAN_DIR) $(TSAN_TESTS)

bench: deps $(RELEASE_DIR)/build.ninja
	cmake --build $(RELEASE_DIR) -j $(JOBS) --target kelvra_benchmarks kelvrameters
	bash scripts/run-benchmarks.sh $(RELEASE_DIR)
	bash scripts/measure-live-cpu.sh $(RELEASE_DIR)

$(TSAN_DIR)/build.ninja:
	cmake -S . -B $(TSAN_DIR) -G $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	      -DKELVRA_SANITIZE=thread -DKELVRA_BUILD_BENCH=OFF

# ThreadSanitizer over every test that runs threads (suppressions: scripts/tsan.supp);
# part of make test. The conformance suite runs in the ASan build only: it paces files
# at 8x real time, which a build running five to fifteen times slower cannot keep up with.
TSAN_TESTS    := -LE 'packaging|fuzz|conformance|quantum'
tsan: deps $(TSAN_DIR)/build.ninja
	cmake --build $(TSAN_DIR) -j $(JOBS)
	bash scripts/run-tests.sh $(TSAN_DIR) $(TSAN_TESTS)

# Only the running app's CPU and memory (part of make bench).
live-cpu: deps $(RELEASE_DIR)/build.ninja
	cmake --build $(RELEASE_DIR) -j $(JOBS) --target kelvrameters
	bash scripts/measure-live-cpu.sh $(RELEASE_DIR)

# 24 hours of audio through the loudness meter, as fast as it goes (a few minutes):
# cost per block and memory must not grow with the measurement (HOURS=24).
loudness-day: deps $(RELEASE_DIR)/build.ninja
	cmake --build $(RELEASE_DIR) -j $(JOBS) --target loudness_day
	$(RELEASE_DIR)/bench/dsp/loudness_day $(or $(HOURS),24)

# An hour of the app and the headless meter on a private audio server (MINUTES=60).
soak: deps $(RELEASE_DIR)/build.ninja
	cmake --build $(RELEASE_DIR) -j $(JOBS) --target kelvrameters
	bash scripts/soak.sh $(or $(MINUTES),60) $(RELEASE_DIR)

# libFuzzer on every reader of outside data, FUZZ_SECONDS per target (default 60), in build/fuzz
# with clang (installed by the script if missing). Not part of make test.
fuzz: deps
	bash scripts/fuzz.sh $(or $(FUZZ_SECONDS),60)

# The Debian package of the Release build (see README, "Install").
package: deps $(RELEASE_DIR)/build.ninja
	cmake --build $(RELEASE_DIR) -j $(JOBS) --target kelvrameters kelvrameters_man
	cd $(RELEASE_DIR) && cpack

clean:
	rm -rf build
