# mailsift: `make run` renders a sample mail, `make test` runs every test.
BUILD      ?= build
SAN_BUILD  ?= build-san
FILE       ?= examples/welcome.eml
JOBS       ?= $(shell nproc)

.PHONY: all deps build build-san run test bench clean

all: build

deps:
	@tools/check-deps.sh

$(BUILD)/build.ninja:
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMAILSIFT_WERROR=ON

$(SAN_BUILD)/build.ninja:
	cmake -S . -B $(SAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DMAILSIFT_WERROR=ON \
	  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DMAILSIFT_SANITIZE=ON

build: deps $(BUILD)/build.ninja
	cmake --build $(BUILD) -j $(JOBS)

build-san: deps $(SAN_BUILD)/build.ninja
	cmake --build $(SAN_BUILD) -j $(JOBS)

run: build
	@$(BUILD)/mailsift view $(FILE)

# The plain build (g++) and the sanitizer build (clang, ASan + UBSan) both run
# the whole suite.
test: build build-san
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)
	cd $(SAN_BUILD) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --output-on-failure -j $(JOBS)

bench: build
	cmake --build $(BUILD) -j $(JOBS)
	bench/run.sh $(BUILD)

clean:
	rm -rf $(BUILD) $(SAN_BUILD)
