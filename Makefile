# One word a task. Each needs nothing but a Debian system: `demo` and `test` install what is missing from packages.txt
# when they may (as root or through sudo), and say what to install when they may not.

JOBS ?= 2
PREFIX ?= /usr/local
FUZZ_SECONDS ?= 60
SOURCES = git ls-files -co --exclude-standard -- '*.cpp' '*.h' '*.c'

.PHONY: demo test bench fuzz lint format format-check golden install packages clean release

demo: packages
	cmake --preset release
	ninja -C build/release -j$(JOBS) demo
	@test -f build/release/demo.png && echo "The annotated picture: $(CURDIR)/build/release/demo.png"

test: packages
	cmake --preset debug
	ninja -C build/debug -j$(JOBS)
	ctest --test-dir build/debug -j$(JOBS) --output-on-failure
	cmake --preset thread
	ninja -C build/thread -j$(JOBS) test_threads
	TSAN_OPTIONS=halt_on_error=1 build/thread/bin/test_threads

release:
	cmake --preset release
	ninja -C build/release -j$(JOBS)

bench: release
	@for program in build/release/bin/*bench*; do echo "== $$program"; $$program || exit 1; done

# Findings are kept in build/fuzz/corpus; a crash leaves its input in build/fuzz and ends the run.
fuzz:
	@command -v clang++ >/dev/null || { echo "fuzz needs: apt-get install clang libclang-rt-14-dev" >&2; exit 1; }
	cmake --preset fuzz
	ninja -C build/fuzz -j$(JOBS)
	@for program in build/fuzz/bin/*_fuzz; do \
	    target=$$(basename $$program); name=$${target%_fuzz}; seeds=; words=; \
	    for folder in fuzz/corpus/$$name fuzz/corpus/$$target; do [ -d $$folder ] && seeds="$$seeds $$folder"; done; \
	    for list in fuzz/$$name.dict fuzz/$$target.dict; do [ -f $$list ] && words="-dict=$$list"; done; \
	    mkdir -p build/fuzz/corpus/$$name; echo "== $$target"; \
	    LSAN_OPTIONS=suppressions=$(CURDIR)/tests/lsan.supp:print_suppressions=0 \
	    $$program -max_total_time=$(FUZZ_SECONDS) -timeout=20 -print_final_stats=1 -artifact_prefix=build/fuzz/$$name- \
	        $$words build/fuzz/corpus/$$name $$seeds || exit 1; \
	done

lint:
	cmake --preset release
	ninja -C build/release -j$(JOBS)
	run-clang-tidy -quiet -p build/release -j$(JOBS) '^$(CURDIR)/(platform|kernel|rasterio|store|render|persist|apps)/'

format:
	$(SOURCES) | xargs -r clang-format -i

format-check:
	$(SOURCES) | xargs -r clang-format --dry-run -Werror

# Rewrites the golden files that differ, and fails if there are any, so that a new baseline can't be taken for a green run.
golden: release
	@KB_WRITE_GOLDEN=1 ctest --test-dir build/release -j$(JOBS) --output-on-failure; result=$$?; \
	changed=$$(git status --porcelain -- tests/golden); \
	if [ -n "$$changed" ]; then echo "$$changed"; echo "Look at each of these before keeping it." >&2; exit 1; fi; \
	exit $$result

install: release
	DESTDIR=$(DESTDIR) cmake --install build/release --prefix $(PREFIX)

packages:
	@missing=; \
	for package in $$(sed 's/#.*//' packages.txt); do \
	    dpkg -s $$package 2>/dev/null | grep -q '^Status: install ok installed' || missing="$$missing $$package"; \
	done; \
	[ -z "$$missing" ] && exit 0; \
	if [ "$$(id -u)" = 0 ]; then as_root=; \
	elif command -v sudo >/dev/null; then as_root=sudo; \
	else echo "Please have these packages installed:$$missing" >&2; exit 1; fi; \
	$$as_root apt-get update && DEBIAN_FRONTEND=noninteractive $$as_root apt-get install -y --no-install-recommends $$missing

clean:
	rm -rf build
