# The two commands users need: `make run` and `make test`. Both install missing Debian packages
# first (tools/debian-packages.txt), then configure and build into build/.
BUILD_DIR ?= build
BUILD_TYPE ?= RelWithDebInfo
CTEST_ARGS ?=
# WERROR=ON turns every compiler warning into an error (CI builds this way).
WERROR ?= OFF

.PHONY: all deps bench-deps configure build run test bench package clean

all: build

deps:
	@./tools/install-deps

# Installed (and packaged) under /usr, as Debian packages are: the launcher remembers where its
# module is installed, so the prefix is fixed when configuring. A tree configured for another
# prefix is set right here.
PREFIX := /usr

$(BUILD_DIR)/build.ninja:
	cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) -DCMAKE_INSTALL_PREFIX=$(PREFIX) \
		-DDIALWISE_WERROR=$(WERROR)

configure: deps $(BUILD_DIR)/build.ninja
	@grep -qx 'CMAKE_INSTALL_PREFIX:PATH=$(PREFIX)' $(BUILD_DIR)/CMakeCache.txt \
		|| cmake -S . -B $(BUILD_DIR) -DCMAKE_INSTALL_PREFIX=$(PREFIX)
	@grep -qx 'DIALWISE_WERROR:BOOL=$(WERROR)' $(BUILD_DIR)/CMakeCache.txt \
		|| cmake -S . -B $(BUILD_DIR) -DDIALWISE_WERROR=$(WERROR)

build: configure
	cmake --build $(BUILD_DIR)

# Starts Dialwise from the build tree. The desktop entry in the user's applications folder is
# pointed at this build first, so tel:, callto: and dialwise: links reach it.
run: build
	@./tools/register-desktop-entry $(abspath $(BUILD_DIR))/dialwise
	$(BUILD_DIR)/dialwise

test: build
	cd $(BUILD_DIR) && ctest --output-on-failure --timeout 600 $(CTEST_ARGS)

# build/dialwise_<version>_<arch>.deb, made by CPack from the install rules.
package: build
	cmake --build $(BUILD_DIR) --target package

# What only the benchmarks need (Chromium for the comparisons, hyperfine): tools/bench-packages.txt.
bench-deps:
	@./tools/install-deps tools/bench-packages.txt

bench: build bench-deps
	./tools/run-benchmarks $(BUILD_DIR)

clean:
	rm -rf $(BUILD_DIR)
