// tavohactl conf: single values of ha.conf.
#include <fmt/format.h>
#include <tavohacore.h>

#include <optional>
#include <string>
#include <utility>

#include "command.h"
#include "conf_keys.h"

namespace tavohactl {
namespace {

std::optional<std::string> Read(const ConfKey& key) {
  char value[kValueSize] = {};
  if (TAVOHAGetConf(key.type, key.index, value, sizeof value) != 0) return std::nullopt;
  return value;
}

Answer ConfGet(const CLI::App& arguments) {
  const ConfKey key = ParseConfKey(Text(arguments, "KEY"), Text(arguments, "INDEX"));
  const std::optional<std::string> value = Read(key);
  if (!value) throw LibraryFailure(fmt::format("{} has no value, or it cannot be read", key.name));
  return {.record = {{"key", key.name}, {"value", *value}}, .text = *value};
}

Answer ConfSet(const CLI::App& arguments) {
  std::string index = Text(arguments, "INDEX"), value = Text(arguments, "VALUE");
  if (arguments.count("VALUE") == 0) {  // two words are a key and its value
    if (arguments.count("INDEX") == 0) throw WrongUse("VALUE is missing");
    value = std::exchange(index, "");
  }
  const ConfKey key = ParseConfKey(Text(arguments, "KEY"), index);
  if (TAVOHASetConf(key.type, key.index, value.c_str()) != 0) {
    throw LibraryFailure(fmt::format("{} could not be set", key.name));
  }
  return {.record = {{"key", key.name}, {"value", value}},
          .text = fmt::format("{} is now \"{}\"", key.name, value)};
}

Answer ConfList(const CLI::App&) {
  Json values = Json::array();
  for (const ConfName& row : ConfNames()) {
    if (row.type > HA_CONF_MAC1) continue;  // a second name for a value
    const int last = IsIndexed(row.type) ? HA_CONF_MAX_INDEX - 1 : 0;
    for (int index = 0; index <= last; ++index) {
      const ConfKey key = MakeConfKey(row, index);
      const std::optional<std::string> value = Read(key);
      if (value) values.push_back({{"key", key.name}, {"value", *value}});
    }
  }
  if (values.empty()) throw LibraryFailure("ha.conf holds no value, or it cannot be read");
  return {.record = {{"values", values}}};
}

Answer ConfKeys(const CLI::App&) {
  Json keys = Json::array();
  for (const ConfName& row : ConfNames()) {
    keys.push_back({{"key", row.name}, {"indexed", IsIndexed(row.type)}});
  }
  return {.record = {{"keys", keys}}};
}

}  // namespace

void AddConf(CommandTree* tree) {
  CLI::App* conf =
      tree->AddGroup("conf", "Read and change the configuration file ha.conf",
                     "  tavohactl conf list               every value that is set\n"
                     "  tavohactl conf get host0          one value\n"
                     "  tavohactl conf get ip_remote      the peer's copy of ip0 and ip1\n"
                     "  tavohactl conf get mac0_ 3        the same as mac0_3\n"
                     "  tavohactl conf set ha_ip 0 10.1.1.5\n"
                     "  tavohactl conf export > record.json; tavohactl conf import record.json\n");
  CLI::App* get = tree->AddCommand(conf, "get", "Print a value", ConfGet);
  get->add_option("KEY", "As \"tavohactl conf keys\" lists them")->required();
  get->add_option("INDEX", "0 to 11, for a key that has one");

  CLI::App* set = tree->AddCommand(conf, "set", "Change a value", ConfSet);
  set->add_option("KEY", "As for \"conf get\"")->required();
  set->add_option("INDEX", "As for \"conf get\"");
  set->add_option("VALUE", "Put -- before one that begins with \"-\"")->option_text("VALUE");

  tree->AddCommand(conf, "list", "Print every value that is set", ConfList);
  tree->AddCommand(conf, "keys", "List the keys that there are", ConfKeys);
  AddConfRecord(tree, conf);
}

}  // namespace tavohactl
