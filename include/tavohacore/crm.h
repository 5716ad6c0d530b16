#ifndef TAVOHACORE_CRM_H_
#define TAVOHACORE_CRM_H_

#include <tavohacore/export.h>
#include <tavohacore/types.h>

#endif  // TAVOHACORE_CRM_H_
