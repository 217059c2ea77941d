#include "subtests/NotBuiltYet.h"

#include "framework/KestDiag.h"
#include "framework/Kestout.h"

bool NotBuiltYet(const KestDiag& test) {
  Kestout::UpdatePercentage(0);
  Kestout::LogMessage(CategoryServiceErrors, 20000, test.GetName() + " is not available in this build");
  return false;
}
