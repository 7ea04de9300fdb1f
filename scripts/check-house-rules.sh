#!/usr/bin/env bash
# The house rules no compiler checks: every C++ file formatted as .clang-format says, and dependencies pointing one
# way (nothing outside app/ includes a header of app/). Prints each breach and fails when there is one.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
status=0

mapfile -t sources < <(find app appearance bench configuration core helper platform tests tools updater \
    -type f \( -name '*.cpp' -o -name '*.h' \) 2>/dev/null | sort)
if ! clang-format --dry-run --Werror "${sources[@]}"; then
    echo "house rules: the files above differ from .clang-format (clang-format -i FILE fixes them)" >&2
    status=1
fi

if grep -rnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*[<"]app/' core configuration appearance updater platform helper \
    --include='*.cpp' --include='*.h' >&2; then
    echo "house rules: only app/ may include app/ (the lines above)" >&2
    status=1
fi
exit $status
