#!/usr/bin/env bash
# Starts a throwaway PostgreSQL cluster on 127.0.0.1 for the server tests and prints the
# setting to export, so that CI can run:   eval "$(tools/ci-postgres.sh)"
# Installs the postgresql package when the server programs are missing. Everything but the
# final export line goes to stderr. Running it again reuses the cluster that is already up.
set -euo pipefail

PORT="${KORVA_PG_PORT:-55432}"
DATA="${KORVA_PG_DIR:-/tmp/korva-pg}"
DB="${KORVA_PG_DB:-korva_test}"
USER_NAME="korva"

log() { echo "ci-postgres: $*" >&2; }

bindir() { ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n 1; }

if [ -z "$(bindir)" ] || [ ! -x "$(bindir)/initdb" ]; then
    log "installing postgresql"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq >&2
    apt-get install -y -qq postgresql >&2
fi
BIN="$(bindir)"

# The server refuses to run as root: run it as the package's postgres user.
as_owner() {
    if [ "$(id -u)" = 0 ]; then
        runuser -u postgres -- "$@"
    else
        "$@"
    fi
}

if as_owner "$BIN/pg_isready" -q -h 127.0.0.1 -p "$PORT"; then
    log "reusing the server on 127.0.0.1:$PORT"
else
    if [ ! -f "$DATA/PG_VERSION" ]; then
        log "creating a cluster in $DATA"
        mkdir -p "$DATA"
        [ "$(id -u)" = 0 ] && chown postgres:postgres "$DATA"
        as_owner "$BIN/initdb" -D "$DATA" -U "$USER_NAME" -A trust --no-sync >&2
    fi
    log "starting the server on 127.0.0.1:$PORT"
    as_owner "$BIN/pg_ctl" -D "$DATA" -l "$DATA/server.log" -w \
        -o "-h 127.0.0.1 -p $PORT -k $DATA -c fsync=off -c full_page_writes=off" start >&2
fi

if ! as_owner "$BIN/psql" -h 127.0.0.1 -p "$PORT" -U "$USER_NAME" -d postgres -tAc \
        "SELECT 1 FROM pg_database WHERE datname = '$DB'" | grep -q 1; then
    as_owner "$BIN/createdb" -h 127.0.0.1 -p "$PORT" -U "$USER_NAME" "$DB" >&2
fi

echo "export KORVA_TEST_PG=postgres://$USER_NAME@127.0.0.1:$PORT/$DB"
