#!/usr/bin/env bash
# A throwaway PostgreSQL server of Debian's postgresql package for the shell's results store, in a
# folder of its own (default build/depot-db), on 127.0.0.1 only.
#   start [DIR]  starts it (made on first use, with a database "rasterscan"); prints the two
#                lines to use: PGPASSFILE (libpq's password file, the only place of the password)
#                and RASTERSCAN_STORE. Port: DEPOT_DB_PORT (default 54329; 0 picks a free one).
#   stop [DIR]   stops it and keeps its data.
#   drop [DIR]   stops it and removes the folder.
# The server refuses to run as root: as root it runs as the postgres user.
set -euo pipefail

command=${1:-}
dir=${2:-build/depot-db}
bin=/usr/lib/postgresql/15/bin

as_postgres() {
  if [ "$(id -u)" -eq 0 ]; then runuser -u postgres -- "$@"; else "$@"; fi
}

running() { [ -f "$dir/data/postmaster.pid" ] && as_postgres "$bin/pg_ctl" -D "$dir/data" status >/dev/null 2>&1; }

case "$command" in
  start)
    mkdir -p "$dir"
    dir=$(cd "$dir" && pwd)
    if [ ! -f "$dir/data/PG_VERSION" ]; then
      port=${DEPOT_DB_PORT:-54329}
      if [ "$port" = 0 ]; then
        port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
      fi
      echo "$port" > "$dir/port"
      [ "$(id -u)" -ne 0 ] || chown postgres "$dir"
      password=$(head -c 24 /dev/urandom | base64 | tr -dc 'A-Za-z0-9')
      (umask 077; printf '%s\n' "$password" > "$dir/password.tmp"; printf '127.0.0.1:%s:*:*:%s\n' "$port" "$password" > "$dir/pgpass")
      [ "$(id -u)" -ne 0 ] || chown postgres "$dir/password.tmp"
      if ! as_postgres "$bin/initdb" -D "$dir/data" -U postgres --auth=scram-sha-256 --pwfile="$dir/password.tmp" \
          -E UTF8 --locale=C.UTF-8 >"$dir/initdb.log" 2>&1; then
        rm -f "$dir/password.tmp"
        echo "error: initdb failed, see $dir/initdb.log" >&2
        exit 1
      fi
      rm -f "$dir/password.tmp"
    fi
    port=$(cat "$dir/port")
    if ! running; then
      as_postgres "$bin/pg_ctl" -D "$dir/data" -l "$dir/server.log" -w -t 60 \
        -o "-p $port -k $dir -c listen_addresses=127.0.0.1 -c shared_buffers=256MB -c max_wal_size=4GB" start >/dev/null
    fi
    export PGPASSFILE=$dir/pgpass
    if [ -z "$(psql -X -q -t -A "postgresql://postgres@127.0.0.1:$port/postgres" \
        -c "SELECT 1 FROM pg_database WHERE datname = 'rasterscan'")" ]; then
      psql -X -q "postgresql://postgres@127.0.0.1:$port/postgres" -c "CREATE DATABASE rasterscan" >/dev/null
    fi
    echo "export PGPASSFILE=$dir/pgpass"
    echo "export RASTERSCAN_STORE=postgresql://postgres@127.0.0.1:$port/rasterscan"
    ;;
  stop|drop)
    if [ -d "$dir" ]; then
      dir=$(cd "$dir" && pwd)
      if running; then as_postgres "$bin/pg_ctl" -D "$dir/data" -m fast -w -t 60 stop >/dev/null; fi
      [ "$command" = stop ] || rm -rf "$dir"
    fi
    ;;
  *)
    echo "usage: bash tools/depot-db.sh start|stop|drop [DIR]" >&2
    exit 2
    ;;
esac
