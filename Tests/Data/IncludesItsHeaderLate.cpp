// clang-format off
// Never compiled: an input to the check of the layers' includes.
#include <vector>

#include "Tests/Data/IncludesItsHeaderLate.h"
