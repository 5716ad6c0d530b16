#include <tavohacore/conf.h>
#include <tavohacore/frame.h>
#include <tavohacore/node.h>
#include <tavohacore/state.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include "frame/contain.h"
#include "frame/host_name.h"
#include "frame/line_reader.h"
#include "frame/log.h"
#include "platform/handles.h"

namespace {

constexpr char kLogModule[] = "node";
constexpr char kStatusTool[] = "/usr/bin/crm_mon";

// The words that the status tool prints behind a node's name, one bit each.
enum NodeFlag : unsigned {
  CRMST_UNCLEAN = 0x02,
  CRMST_ONLINE = 0x04,
  CRMST_OFFLINE = 0x08,
  CRMST_STANDBY = 0x10,
  CRMST_ONFAIL = 0x20,
  CRMST_PENDING = 0x40,
};

struct StatusWord {
  std::string_view word;
  NodeFlag flag;
};
constexpr StatusWord kStatusWords[] = {
    {"UNCLEAN", CRMST_UNCLEAN}, {"ONLINE", CRMST_ONLINE}, {"OFFLINE", CRMST_OFFLINE},
    {"STANDBY", CRMST_STANDBY}, {"ONFAIL", CRMST_ONFAIL}, {"PENDING", CRMST_PENDING},
};

using NodeFlags = std::map<std::string, unsigned, std::less<>>;

// Adds what one line says to `nodes`. Returns false for a line without a name, which ends the
// listing.
bool ReadStatusLine(std::string_view line, NodeFlags* nodes) {
  if (line.empty() || line.front() == ':') return false;
  const std::string_view name = line.substr(0, line.find(':'));
  const std::string_view words = line.substr(name.size());
  // A longer name is no node's: names are looked up from buffers of this size.
  if (name.size() >= kHostNameSize) return true;
  for (const StatusWord& row : kStatusWords) {
    if (words.find(row.word) != std::string_view::npos) (*nodes)[std::string(name)] |= row.flag;
  }
  return true;
}

NodeFlags ReadStatusTool() {
  NodeFlags nodes;
  const platform::ToolOutput tool(
      TAVLIBPopen(kStatusTool, "r", "-1", "-S", static_cast<char*>(nullptr)));
  if (!tool) {
    HA_LOG(ERROR, "TAVLIBPopen: %s", strerror(errno));
    return nodes;
  }
  frame::LineReader reader(tool.stream());
  while (reader.Next() && ReadStatusLine(reader.text(), &nodes)) {
  }
  return nodes;
}

// Runs the status tool and returns the flags of the node `host`, 0 when the tool does not name it.
unsigned CrmMonNodeFlagsGet(const char* host) {
  const NodeFlags nodes = ReadStatusTool();
  if (host == nullptr) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return 0;
  }
  const auto node = nodes.find(std::string_view(host));
  return node == nodes.end() ? 0 : node->second;
}

_tag_NODE_STATUS_ StatusOfFlags(unsigned flags) {
  if ((flags & CRMST_ONFAIL) != 0) return NODE_STATUS_ERROR;
  if ((flags & ~CRMST_UNCLEAN) == CRMST_OFFLINE) return NODE_STATUS_OFFLINE;
  if ((flags & CRMST_OFFLINE) != 0) return NODE_STATUS_WARNING_OFFLINE;
  if ((flags & CRMST_ONLINE) == 0) return NODE_STATUS_UNKNOWN;
  return flags == CRMST_ONLINE ? NODE_STATUS_ONLINE : NODE_STATUS_WARNING_ONLINE;
}

// The configured name of `node`; which node is the local one is told by its name. Null when that is
// neither host's, or for a node that there is not.
const char* ChooseHost(_tag_NODE_TYPE_ node, const char* local, const char* host0,
                       const char* host1) {
  switch (node) {
    case NODE_TYPE_HOST0:
      return host0;
    case NODE_TYPE_HOST1:
      return host1;
    case NODE_TYPE_LOCAL:
    case NODE_TYPE_REMOTE:
      if (strcmp(host0, local) == 0) return node == NODE_TYPE_LOCAL ? host0 : host1;
      if (strcmp(host1, local) == 0) return node == NODE_TYPE_LOCAL ? host1 : host0;
      HA_LOG(INFO, "Failed to check node %d", node);
      return nullptr;
    case NODE_TYPE_NONE:
      break;
  }
  return nullptr;
}

}  // namespace

int HANodeStatusGet(_tag_NODE_TYPE_ node) {
  if (node == NODE_TYPE_NONE) return NODE_STATUS_UNKNOWN;
  if (TAVOHAIsRunning() == 0 || HAIsRunningCoroPace() == 0) {
    return node == NODE_TYPE_LOCAL || node == NODE_TYPE_HOST0 ? NODE_STATUS_STANDALONE
                                                              : NODE_STATUS_NONE;
  }
  char local[kHostNameSize] = {};
  if (GetLocalHostname(local) < 1) HA_LOG(ERROR, "Failed to get host name");
  char host0[kHostNameSize] = {};
  char host1[kHostNameSize] = {};
  TAVOHAGetConf(HA_CONF_HOST0, 0, host0, sizeof host0);
  TAVOHAGetConf(HA_CONF_HOST1, 0, host1, sizeof host1);

  const char* host = ChooseHost(node, local, host0, host1);
  if (host == nullptr) return NODE_STATUS_UNKNOWN;
  if (host[0] == '\0') return NODE_STATUS_NONE;

  const unsigned flags = frame::Contain(0U, [&] { return CrmMonNodeFlagsGet(host); });
  HA_LOG(INFO, "node:%d. crmst:0x%x", node, flags);
  return StatusOfFlags(flags);
}

const char* HANodeStatusStr(_tag_NODE_STATUS_ status) {
  switch (status) {
    case NODE_STATUS_STANDALONE:
      return "standalone";
    case NODE_STATUS_NONE:
      return "none";
    case NODE_STATUS_ONLINE:
      return "online";
    case NODE_STATUS_WARNING_ONLINE:
      return "warning_online";
    case NODE_STATUS_WARNING_OFFLINE:
      return "warning_offline";
    case NODE_STATUS_OFFLINE:
      return "offline";
    case NODE_STATUS_ERROR:
      return "error";
    case NODE_STATUS_UNKNOWN:
      break;
  }
  return "unknown";
}

int HAGetNodeHostName(_tag_NODE_TYPE_ node, char* buffer, int size) {
  const HA_CONF_TYPE type = TAVOHANodeTypeToConfType(node);
  if (type == HA_CONF_TYPE_INVALID) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return 0;
  }
  if (TAVOHAGetConf(type, 0, buffer, size) < 0 || buffer[0] == '\0') {
    HA_LOG(DEBUG, "Failed to get host");
    return 0;
  }
  return 1;
}
