#!/usr/bin/env bash
# The main job: installs what is missing, builds the libraries and the imge
# tool, and runs `imge demo`: every operation on a sample picture, each
# result as a file and a contact sheet of them all, in out/.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -DIMGE_BUILD_TESTS=OFF -DIMGE_BUILD_BENCH=OFF >/dev/null
cmake --build build -j"$(nproc)" --target imge_tool >/dev/null
./build/tools/imge demo -o out/
echo "open out/contact-sheet.png; try ./build/tools/imge --help"
