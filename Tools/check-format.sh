#!/usr/bin/env bash
# Fails when a tracked C++ file is not formatted as .clang-format says, and names each one.
# Usage: Tools/check-format.sh [CLANG_FORMAT]   (default clang-format-14)
set -uo pipefail
cd "$(dirname "$0")/.."
tool=${1:-clang-format-14}
if ! command -v "$tool" > /dev/null; then
    echo "check-format: $tool not found" >&2
    exit 1
fi
unformatted=$(git ls-files '*.cpp' '*.h' | xargs "$tool" --dry-run 2>&1 | grep -o '^[^:]*: warning' |
              cut -d: -f1 | sort -u)
if [ -n "$unformatted" ]; then
    echo "check-format: not formatted (run $tool -i on them):"
    echo "$unformatted"
    exit 1
fi
echo "check-format: every tracked C++ file is formatted"
