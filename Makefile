# Kalvex: the two commands are `make run` and `make test`; both install what
# they need on a fresh Debian 12 machine first.

BUILD_DIR ?= build
JOBS ?= 2
SUDO := $(shell [ "$$(id -u)" = 0 ] || echo sudo)

# Debian packages the build, the tests and the demo need.
DEB_PACKAGES := cmake ninja-build g++ pkg-config qt6-base-dev libqt6sql6-sqlite libgl-dev \
	libgtest-dev libbenchmark-dev python3 python3-aiosmtpd xdg-utils desktop-file-utils \
	openssl sqlite3 libsqlite3-dev clang libclang-rt-14-dev \
	mariadb-server libqt6sql6-mysql libqt6sql6-odbc unixodbc odbc-mariadb tdsodbc mdbtools mrtg-contrib \
	xvfb xauth xdotool openbox bash-completion \
	breeze-icon-theme libqt6svg6 qt6-translations-l10n libhunspell-dev hunspell-de-de hunspell-en-us \
	qtkeychain-qt6-dev python3-oauthlib gnome-keyring dbus curl libreoffice-writer-nogui
# What `make deb` needs beyond them (dpkg-shlibdeps, lintian).
DEB_PACKAGING_PACKAGES := dpkg-dev file lintian
PREFIX ?= /usr/local
DEB_BUILD_DIR ?= build-deb
# The Windows build (kalvex.dll, cross-built with mingw-w64) and what it and
# its tests under Wine need: the cross compiler, Wine, the host's Qt tools
# (moc, rcc, uic) and the translation builder.
WINDOWS_BUILD_DIR ?= build-windows
WINDOWS_PACKAGES := cmake ninja-build qt6-base-dev python3 xz-utils \
	g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 wine wine64

.PHONY: all deps deb-deps build test run bench fuzz screenshots install deb clean windows-deps windows test-windows windows-screenshot windows-package windows32-deps windows32 test-windows32

all: build

deps:
	@$(call install_missing,$(DEB_PACKAGES))

deb-deps:
	@$(call install_missing,$(DEB_PACKAGING_PACKAGES))

windows-deps:
	@$(call install_missing,$(WINDOWS_PACKAGES))

# Installs those of the Debian packages $(1) that are missing.
define install_missing
	missing=$$(for p in $(1); do \
		dpkg-query -W -f='$${Status}\n' $$p 2>/dev/null | grep -q '^install ok installed' || echo $$p; done); \
	if [ -n "$$missing" ]; then \
		echo "Installing:" $$missing; \
		$(SUDO) apt-get update && \
		DEBIAN_FRONTEND=noninteractive $(SUDO) apt-get install -y --no-install-recommends $$missing; \
	fi
endef

$(BUILD_DIR)/build.ninja:
	cmake --preset default -B $(BUILD_DIR)

build: deps $(BUILD_DIR)/build.ninja
	cmake --build $(BUILD_DIR) -j$(JOBS)

test: build
	cd $(BUILD_DIR) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j1

run: build
	sh tools/run_demo.sh $(BUILD_DIR) $(RUN_ARGS)

screenshots: build
	QT_QPA_PLATFORM=offscreen $(BUILD_DIR)/tests/ui/kalvex_screenshots $(BUILD_DIR)/screenshots

# Installs under PREFIX (and DESTDIR, when given).
install: build
	cmake -S . -B $(BUILD_DIR) -DCMAKE_INSTALL_PREFIX=$(PREFIX)
	cmake --build $(BUILD_DIR) -j$(JOBS)
	cmake --install $(BUILD_DIR)

# The Debian packages libkalvex0, libkalvex-dev and kalvex-tools, checked by lintian.
deb: deps deb-deps
	cmake --preset default -B $(DEB_BUILD_DIR) -DCMAKE_INSTALL_PREFIX=/usr -DKALVEX_DEB=ON \
		-DKALVEX_BUILD_TESTS=OFF -DKALVEX_BUILD_BENCH=OFF
	cmake --build $(DEB_BUILD_DIR) -j$(JOBS)
	rm -rf $(DEB_BUILD_DIR)/packages
	cd $(DEB_BUILD_DIR) && cpack
	lintian --fail-on error $(DEB_BUILD_DIR)/packages/*.deb

bench: build
	for b in $$(find $(BUILD_DIR)/bench -maxdepth 2 -type f -name 'kalvex_bench_*' -perm -u+x | sort); do \
		echo "== $$b"; $$b --benchmark_counters_tabular=true || exit 1; done
	@if [ -x /usr/bin/time ]; then echo "== bench/store/run_store.sh"; sh bench/store/run_store.sh $(BUILD_DIR); \
	else echo "== bench/store/run_store.sh skipped: /usr/bin/time (package time) is missing"; fi

# libFuzzer over the record stream readers; needs clang (not part of CI).
fuzz: deps
	cmake -S . -B build-fuzz -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang \
		-DCMAKE_BUILD_TYPE=RelWithDebInfo -DKALVEX_FUZZ=ON -DKALVEX_BUILD_TESTS=OFF -DKALVEX_BUILD_BENCH=OFF
	cmake --build build-fuzz -j$(JOBS) --target kalvex_fuzz_streams kalvex_fuzz_rtf kalvex_fuzz_smtp_reply kalvex_fuzz_address
	mkdir -p build-fuzz/corpus build-fuzz/corpus-rtf build-fuzz/corpus-smtp-reply build-fuzz/corpus-address
	build-fuzz/fuzz/kalvex_fuzz_streams -max_total_time=60 -rss_limit_mb=2048 build-fuzz/corpus fuzz/seeds
	build-fuzz/fuzz/kalvex_fuzz_rtf -max_total_time=60 -rss_limit_mb=2048 -timeout=10 build-fuzz/corpus-rtf fuzz/seeds-rtf
	build-fuzz/fuzz/kalvex_fuzz_smtp_reply -max_total_time=60 -rss_limit_mb=2048 build-fuzz/corpus-smtp-reply fuzz/seeds-smtp-reply
	build-fuzz/fuzz/kalvex_fuzz_address -max_total_time=60 -rss_limit_mb=2048 build-fuzz/corpus-address fuzz/seeds-address

# kalvex.dll, kalvex.exe and the C test host for 64-bit Windows, against the
# Qt for Windows that tools/windows/qt-prefix.sh finds (QT_WINDOWS_PREFIX, or
# the prebuilt archive unpacked into ~/.cache/kalvex); everything a host
# needs beside the DLL is gathered in $(WINDOWS_BUILD_DIR)/stage.
windows: windows-deps
	qt=$$(sh tools/windows/qt-prefix.sh) && \
	cmake -S . -B $(WINDOWS_BUILD_DIR) -G Ninja -DCMAKE_TOOLCHAIN_FILE=$(CURDIR)/cmake/mingw-w64-x86_64.cmake \
		-DCMAKE_PREFIX_PATH=$$qt -DQT_HOST_PATH=/usr -DCMAKE_BUILD_TYPE=Release -DKALVEX_BUILD_BENCH=OFF && \
	cmake --build $(WINDOWS_BUILD_DIR) -j$(JOBS) && \
	sh tools/windows/stage.sh $(WINDOWS_BUILD_DIR) $$qt $(WINDOWS_BUILD_DIR)/stage

# The Windows build under Wine, compared with the Linux build.
test-windows: build windows
	sh tests/windows/run_windows_tests.sh $(BUILD_DIR) $(WINDOWS_BUILD_DIR) $(WINDOWS_BUILD_DIR)/stage

# kalvex.dll for 32-bit hosts (i686, stdcall methods) with the programs its
# checks under Wine use, against a Qt for
# 32-bit Windows: QT_WINDOWS_PREFIX, or built once from Debian's sources
# into ~/.cache/kalvex (30-60 minutes; not in CI).
WINDOWS32_BUILD_DIR ?= build-windows32
WINDOWS32_PACKAGES := cmake ninja-build qt6-base-dev python3 g++-mingw-w64-i686-posix gcc-mingw-w64-i686-posix \
	binutils-mingw-w64-i686 wine debootstrap
windows32-deps:
	@$(call install_missing,$(WINDOWS32_PACKAGES))

windows32: windows32-deps
	qt=$$(sh tools/windows/qt-prefix.sh i686) && \
	cmake -S . -B $(WINDOWS32_BUILD_DIR) -G Ninja -DCMAKE_TOOLCHAIN_FILE=$(CURDIR)/cmake/mingw-w64-i686.cmake \
		-DCMAKE_PREFIX_PATH=$$qt -DQT_HOST_PATH=/usr -DCMAKE_BUILD_TYPE=Release -DKALVEX_BUILD_BENCH=OFF && \
	cmake --build $(WINDOWS32_BUILD_DIR) -j$(JOBS) --target kalvex kalvex-cli kalvex-c-host kalvex-show-window && \
	sh tools/windows/stage.sh $(WINDOWS32_BUILD_DIR) $$qt $(WINDOWS32_BUILD_DIR)/stage i686

# The 32-bit build under 32-bit Wine, which runs in an i386 Debian root of
# its own (tools/windows/i386-root.sh; needs root), next to the Linux build.
I386_ROOT ?= $(HOME)/.cache/kalvex/i386root
test-windows32: build windows32
	root=$$(sh tools/windows/i386-root.sh $(I386_ROOT) $(CURDIR) $(WINDOWS32_BUILD_DIR)) && \
	KALVEX_I386_ROOT=$$root KALVEX_WINE=$(CURDIR)/tests/windows/wine32-chroot.sh KALVEX_MINGW_TRIPLE=i686-w64-mingw32 \
		WINEARCH=win32 sh tests/windows/run_windows_tests.sh $(BUILD_DIR) $(WINDOWS32_BUILD_DIR) $(WINDOWS32_BUILD_DIR)/stage; \
	status=$$?; sh tools/windows/i386-root.sh --release $(I386_ROOT); exit $$status

# The zip for Windows host vendors (bin, include, lib with the import
# library and a relocatable kalvex.pc), checked by linking a C program
# against it and running that under Wine.
KALVEX_VERSION := $(shell sed -n 's/^project.kalvex VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
windows-package: windows
	sh tools/windows/package.sh $(WINDOWS_BUILD_DIR) $(WINDOWS_BUILD_DIR)/stage $(KALVEX_VERSION)

# The distribution window of kalvex.dll in German, under Wine on Xvfb (not in CI).
windows-screenshot: deps windows
	sh tools/windows/screenshot.sh $(WINDOWS_BUILD_DIR)/stage $(CURDIR)/$(WINDOWS_BUILD_DIR)/distribution-window-de.png

clean:
	rm -rf $(BUILD_DIR) build-fuzz $(DEB_BUILD_DIR) $(WINDOWS_BUILD_DIR) $(WINDOWS32_BUILD_DIR)
