#ifndef TAVOHACORE_DL_H_
#define TAVOHACORE_DL_H_

#include <tavohacore/export.h>
#include <tavohacore/types.h>

#endif  // TAVOHACORE_DL_H_
