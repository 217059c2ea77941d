// The observer the shell hands each run to: records it in the results store as it goes.
#pragma once

#include <memory>

#include "../RunObserver.h"
#include "Store.h"

std::unique_ptr<RunObserver> MakeStoreObserver(const store::StoreOptions& options);
