// The shell's commands on its results store: `sync`, `history [PC]`, `fleet [--out DIR]`, and
// the options they and the store observer share: --store (RASTERSCAN_STORE) and --pc
// (RASTERSCAN_PC). Not built on Windows: Debian has no MinGW builds of SQLite and libpq.
#pragma once

#include <CLI/CLI.hpp>

#include "Store.h"
#include "StoreObserver.h"

// With `options`, the commands and the caller share one set (the caller then hands the same to
// MakeStoreObserver); without, the commands keep their own. --pc is taken from the app when the
// caller has declared it already.
void AddStoreCommands(CLI::App& app, store::StoreOptions* options = nullptr);
