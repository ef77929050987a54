#!/usr/bin/env bash
# Installs what is missing, builds everything and runs every test offscreen. With
# KORVA_WITH_POSTGRES=1 (CI sets it) a PostgreSQL server is started on loopback and the
# server tests run against it too.
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
if [[ "${CI:-}" == true ]]; then export KORVA_WITH_POSTGRES=${KORVA_WITH_POSTGRES:-1}; fi
"$here/scripts/bootstrap.sh"
"$here/scripts/build.sh"
if [[ "${KORVA_WITH_POSTGRES:-}" == 1 && -x "$here/tools/ci-postgres.sh" ]]; then
    # Prints "export KORVA_TEST_PG=..." once the server answers.
    eval "$("$here/tools/ci-postgres.sh")"
fi
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
cd "${KORVA_BUILD_DIR:-$here/build}"
ctest --output-on-failure -j2 "$@"
