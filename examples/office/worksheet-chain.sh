#!/bin/sh
# Takes one refund request of the example office from status 0 to "mailed", one worksheet
# save per step, each by an officer who holds that step's right, through `korva-broker run`:
#   examples/office/worksheet-chain.sh <korva-broker> <connection> <refund number> <customer>
set -eu
broker=$1 db=$2 refund=$3 customer=$4
today=$(date +%F)

# save <officer> <field=value>...: one REFUND row of text fields, as the worksheet sends it.
save() {
    officer=$1
    shift
    fields="" values=""
    for pair in "ACTION=UPD" "CUST_ID=$customer" "RFND_NBR=$refund" "$@"; do
        fields="$fields${fields:+,}{\"name\":\"${pair%%=*}\",\"type\":\"text\"}"
        values="$values${values:+,}\"${pair#*=}\""
    done
    printf '{"kind":75,"recordSets":{"REFUND":{"name":"REFUND","fields":[%s],"rows":[[%s]]}}}' \
        "$fields" "$values" |
        "$broker" run --db "$db" --officer "$officer" - >/dev/null
    echo "officer $officer: $*"
}

save 2001 CREATOR_ID=2001 TO=2 CREATED_DT="$today" QRT_CMMT_TXT="Overpayment confirmed" STTS_CD=1
save 2004 VERIFY_ID=2004 STTS_CD=2
save 2002 APPROVE_ID=2002 STTS_CD=3
save 2003 RFND_BY_ID=2003 RFND_CD=1 WRNT_NBR=W-0001 RFND_DT="$today" STTS_CD=4
save 2003 DT_MLD="$today" STTS_CD=5
