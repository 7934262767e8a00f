// The shared library is the archive of the exported functions linked whole;
// this unit only gives the target a source of its own.
#include "include/tgx_genicam.h"
