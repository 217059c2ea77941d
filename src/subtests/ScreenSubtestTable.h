// The rows of the screen flow's table: one per subtest that shows its picture through ScreenFlow.
#pragma once

#include "screen/ScreenFlow.h"

const ScreenSubtestTraits& ModeTestTraits();
const ScreenSubtestTraits& BltTestTraits();
const ScreenSubtestTraits& LineTestTraits();
const ScreenSubtestTraits& PaletteTestTraits();
