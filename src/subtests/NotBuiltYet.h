#pragma once

class KestDiag;

// The Run of a subtest whose body is not in this build yet: it says so and fails, so that no
// shell ever takes it for a pass.
bool NotBuiltYet(const KestDiag& test);
