// What crm_mon prints.
#include <tavohacore.h>

#include "fuzz/harness.h"

FUZZ(data) {
  fuzz::SetToolAnswer(data);
  for (const _tag_NODE_TYPE_ node : {NODE_TYPE_LOCAL, NODE_TYPE_REMOTE}) {
    const int status = HANodeStatusGet(node);
    fuzz::Require(status >= NODE_STATUS_UNKNOWN && status <= NODE_STATUS_ERROR);
  }
}
