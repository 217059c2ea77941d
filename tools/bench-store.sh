#!/usr/bin/env bash
# The results store's figures: RUNS runs (default 100000) of 18 steps, written by WRITERS connections (default 16, a depot's PCs at once), into a throwaway
# PostgreSQL server and into a SQLite file, and the fleet page's queries over each.
# Usage: bash tools/bench-store.sh [RUNS] [WRITERS]   (after building bench-store in build/)
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-100000}
writers=${2:-16}
bench=build/tools/bench-store
db=build/bench-store-db
bash tools/depot-db.sh drop "$db"
trap 'bash tools/depot-db.sh drop "$db"; rm -f build/bench-store.sqlite*' EXIT
server=$(DEPOT_DB_PORT=0 bash tools/depot-db.sh start "$db")
eval "$server"
echo "PostgreSQL 15 (local server, fsync on):"
"$bench" "$RASTERSCAN_STORE" "$runs" "$writers"
echo "SQLite $(sqlite3 --version | cut -d' ' -f1) (WAL, one writer):"
rm -f build/bench-store.sqlite*
"$bench" "sqlite:build/bench-store.sqlite" "$runs" 1
