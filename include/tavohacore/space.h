#ifndef TAVOHACORE_SPACE_H_
#define TAVOHACORE_SPACE_H_

#include <tavohacore/export.h>
#include <tavohacore/types.h>

#endif  // TAVOHACORE_SPACE_H_
