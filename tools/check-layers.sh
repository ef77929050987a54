#!/usr/bin/env bash
# Fails when a layer under src/ includes one above it, or when a file under src/ has grown past
# 600 lines. The layers, each including only those to its right:
#   shell -> document -> dialogs | inquiry | worksheet -> common -> platform
# and the shell may start the embedded server; the server includes the platform's core alone
# (no controls, nothing that draws).
set -euo pipefail
src=${1:-$(cd "$(dirname "$0")/.." && pwd)/src}
cd "$src"

declare -A allowed=(
    [platform]="platform"
    [common]="common platform"
    [dialogs]="dialogs common platform"
    [inquiry]="inquiry common platform"
    [worksheet]="worksheet common platform"
    [document]="document dialogs inquiry worksheet common platform"
    [shell]="shell document server common platform"
    [server]="server platform"
)
layers="${!allowed[*]}"
status=0
while IFS= read -r hit; do
    file=${hit%%:*}
    target=$(sed -E 's/.*#include [<"]([a-z]+)\/.*/\1/' <<<"$hit")
    file=${file#./}
    layer=${file%%/*}
    [[ " $layers " == *" $target "* && " $layers " == *" $layer "* ]] || continue
    if [[ " ${allowed[$layer]} " != *" $target "* ]]; then
        echo "layer: $file includes $target/ (a $layer file may include: ${allowed[$layer]})"
        status=1
    fi
done < <(grep -rnE '#include [<"][a-z]+/' --include='*.h' --include='*.cpp' .)

# The server runs without a screen: none of the platform's widgets.
if [[ -d server ]] && grep -rnE '#include [<"]platform/(controls/|qtservices|spellcheckdialog|spellchecksession|templateprintoutput)' server; then
    echo "layer: the server includes a part of the platform that draws"
    status=1
fi

while read -r lines file; do
    [[ "$file" == total ]] && continue
    if ((lines > 600)); then
        echo "size: ${file#./} has $lines lines (at most 600)"
        status=1
    fi
done < <(find . -name '*.cpp' -o -name '*.h' | sort | xargs wc -l)
exit $status
