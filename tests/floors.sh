#!/usr/bin/env bash
# Includes point one way: from a floor to itself and to the floors below it. floors.sh SOURCE-TREE
set -euo pipefail
cd "$1"
status=0

# A floor's folders, and the folders that its files may include from.
check() { # check "FOLDERS" "ALLOWED"
    local allowed
    allowed=$(tr ' ' '|' <<<"$2")
    while IFS= read -r hit; do
        echo "$hit" >&2
        status=1
    done < <(grep -rnE --include='*.cpp' --include='*.h' --include='*.c' '^#include "[^"]+/' $1 | grep -vE "#include \"($allowed)/" || true)
}

check "platform" "platform"
check "contracts" "contracts platform"
check "kernel" "kernel contracts platform"
check "rasterio" "rasterio kernel contracts platform" # of kernel/ only inline code: it isn't exported
check "resources" "resources platform"
check "include" "kbann contracts platform"
check "store render persist" "store render persist resources kbann contracts platform"
check "apps/kann" "apps/kann kbann contracts platform CLI nlohmann nettle"
# Inside the engine: objects below drawing, and drawing below storing, one form of which is a picture.
check "store" "store resources kbann contracts platform"
check "render" "render store kbann contracts platform"
check "persist" "persist render store kbann contracts platform"
# What stands inside a floor is not for those above it; programs see public headers alone. The figures of page operations are of
# the engine's inside, since the public headers have no call that deletes a page.
if grep -rnE '^#include "(platform/(sys|gdi|user)/|platform/handle_table|kernel/|rasterio/|store/|render/|persist/)' apps examples bench --exclude=pages_bench.cpp; then
    status=1
fi
if grep -rnE '^#include "platform/(sys|gdi|user)/' kernel rasterio store render persist; then status=1; fi
[[ $status == 0 ]] || echo "includes that point the wrong way" >&2
exit $status
