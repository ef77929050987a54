#!/usr/bin/env bash
# Builds the libFuzzer targets under fuzz/ with clang (ASan and UBSan on) in their own build
# folder and runs each for a while. Usage:
#   tools/fuzz.sh [seconds per target, default 10] [target ...]
# Findings (crashing inputs) land in $FUZZ_OUT/<target>/ (default build-fuzz/findings) and
# make the script fail; the corpus grows in build-fuzz/corpus/<target>/ between runs.
set -euo pipefail

ROOT="$(cd "$(dirname "$0")/.." && pwd)"
BUILD="${KORVA_FUZZ_BUILD:-$ROOT/build-fuzz}"
SECONDS_EACH="${1:-10}"
shift || true
TARGETS=("$@")
[ ${#TARGETS[@]} -gt 0 ] || TARGETS=(fuzz_wire fuzz_replybytes fuzz_recordset fuzz_parsers fuzz_requests)
OUT="${FUZZ_OUT:-$BUILD/findings}"
LOCK="${KORVA_BUILD_LOCK:-/tmp/korva-build.lock}"

log() { echo "fuzz: $*" >&2; }

if [ ! -f "$BUILD/build.ninja" ]; then
    log "configuring $BUILD with clang"
    cmake -S "$ROOT/fuzz" -B "$BUILD" -G Ninja -DCMAKE_CXX_COMPILER=clang++ >&2
fi
flock "$LOCK" cmake --build "$BUILD" -j2 --target "${TARGETS[@]}" >&2

seed() { # target name text
    mkdir -p "$BUILD/corpus/$1"
    printf '%s' "$3" > "$BUILD/corpus/$1/$2"
}
REQ='{"messageId":"KORVA.AssignMaint","version":"1.0","kind":15,"context":"INSP_ID=1001;REGION=NE","parameters":[],"recordSets":{"ASSIGNMENT":{"name":"ASSIGNMENT","fields":[{"name":"ACTION","type":"text"},{"name":"OFCR_FRM_ID","type":"text"},{"name":"ASGNMT_TYP_CD","type":"text"},{"name":"EFCTV_DT","type":"text"},{"name":"DUE_DT","type":"text"},{"name":"EXPRTN_DT","type":"text"},{"name":"OFCR_TO_ID","type":"integer"}],"rows":[["ADD","1001","001","2026-11-22","2026-11-30","2026-12-30",1003]]}}}'
LIST='{"messageId":"KORVA.AssignMaint","kind":62,"context":"INSP_ID=1003","parameters":[{"name":"key:ASGNMT_FRM_DT","value":"2020-01-01"},{"name":"key:ASGNMT_TO_DT","value":"2030-01-01"},{"name":"key:OFCR_TO_ID","value":"1003"}]}'
CLOSE='{"kind":15,"context":"INSP_ID=1001","recordSets":{"ASSIGNMENT":{"fields":[{"name":"ACTION"},{"name":"ASGNMT_NBR"},{"name":"ASGNMT_STTS_CD"}],"rows":[["UPD","3","C"]]}}}'
SAVE='{"kind":75,"context":"INSP_ID=1004","recordSets":{"REFUND":{"fields":[{"name":"ACTION"},{"name":"CUST_ID"},{"name":"RFND_NBR"},{"name":"VERIFY_ID"},{"name":"STTS_CD"}],"rows":[["UPD","400000001","1","1004","2"]]}}}'
for t in fuzz_wire fuzz_requests; do
    seed $t add "$REQ"; seed $t list "$LIST"; seed $t close "$CLOSE"; seed $t save "$SAVE"
done
seed fuzz_recordset a $'ASGNMT_NBR = 3 OR CMMT = \'a\'\'b\'\nDUE_DT DESC, AMT\nASGNMT_NBR=4'
seed fuzz_recordset b $'(DUE_DT >= #1/3/2026# AND AMT < 40)\nCMMT ASC\nCMMT=\'a\'\'b\''
# A list reply as the service writes it (CBOR): a row of every type, and one of nulls.
mkdir -p "$BUILD/corpus/fuzz_replybytes"
printf '\xa4\x68\x69\x64\x65\x6e\x74\x69\x74\x79\x61\x4b\x63\x74\x61\x67\x61\x54\x65\x65\x72\x72\x6f\x72\x60\x6a\x72\x65\x63\x6f\x72\x64\x53\x65\x74\x73\xa1\x61\x41\xa3\x64\x6e\x61\x6d\x65\x61\x41\x66\x66\x69\x65\x6c\x64\x73\x85\x82\x61\x4e\x67\x69\x6e\x74\x65\x67\x65\x72\x82\x61\x44\x64\x64\x61\x74\x65\x82\x61\x53\x69\x74\x69\x6d\x65\x73\x74\x61\x6d\x70\x82\x61\x58\x64\x74\x65\x78\x74\x82\x61\x4d\x67\x64\x65\x63\x69\x6d\x61\x6c\x64\x72\x6f\x77\x73\x82\x85\x01\xd8\x64\x19\x4e\x20\x82\x00\xf6\x61\x78\xfb\x3f\xf8\x00\x00\x00\x00\x00\x00\x85\x21\xf6\x82\x1b\x00\x00\x01\x8b\xcf\xe5\x68\x00\x19\x0e\x10\x60\xf6' > "$BUILD/corpus/fuzz_replybytes/list"
seed fuzz_parsers a '1234567-4'; seed fuzz_parsers b '2026-02-28'; seed fuzz_parsers c 'Smith,jr|john|q|'

status=0
for t in "${TARGETS[@]}"; do
    mkdir -p "$OUT/$t"
    log "running $t for ${SECONDS_EACH}s"
    if ! (cd "$OUT/$t" && TMPDIR="${TMPDIR:-/tmp}" "$BUILD/$t" -max_total_time="$SECONDS_EACH" \
            -max_len=65536 -timeout=20 -rss_limit_mb=4096 -print_final_stats=1 \
            "$BUILD/corpus/$t" > "$OUT/$t/run.log" 2>&1); then
        log "$t FOUND A PROBLEM: see $OUT/$t/run.log and the crash-* files beside it"
        status=1
    fi
    runs=$(grep -o 'Done [0-9]* runs' "$OUT/$t/run.log" | tail -n 1 || true)
    log "$t: ${runs:-no summary}; corpus $(ls "$BUILD/corpus/$t" | wc -l) inputs"
done
exit $status
