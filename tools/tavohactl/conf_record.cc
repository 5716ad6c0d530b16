// tavohactl conf export and import, reset and forget-peer: ha.conf as a whole.
#include <fmt/format.h>
#include <tavohacore.h>

#include <cstddef>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

#include "command.h"
#include "progress.h"
#include "words.h"

namespace tavohactl {
namespace {

// A field of the record: `count` texts of `width` bytes, or one where count is 0.
struct Field {
  const char* name;
  size_t offset;
  size_t width;
  size_t count;
};

template <typename Texts>
constexpr Field MakeField(const char* name, size_t offset) {
  if constexpr (std::rank_v<Texts> == 1) return {name, offset, sizeof(Texts), 0};
  return {name, offset, sizeof(std::remove_extent_t<Texts>), std::extent_v<Texts>};
}
#define FIELD(name) MakeField<decltype(HA_CONF_STRUCT::name)>(#name, offsetof(HA_CONF_STRUCT, name))

constexpr Field kFields[] = {
    FIELD(drbd_if),
    FIELD(drbd_if_origin),
    FIELD(drbd_ip0),
    FIELD(drbd_ip1),
    FIELD(drbd_netmask),
    FIELD(drbd_bond_mode_origin),
    FIELD(drbd_mtu_origin),
    FIELD(host0),
    FIELD(host1),
    FIELD(ip0),
    FIELD(ip1),
    FIELD(corosync_key),
    FIELD(ha_sn),
    FIELD(ha_sn_custom),
    FIELD(ha_model),
    FIELD(ha_unique),
    FIELD(ha_hostname),
    FIELD(ha_if_main),
    FIELD(ha_gateway),
    FIELD(ha_if),
    FIELD(ha_ip),
    FIELD(ha_netmask),
    FIELD(ha_if_enabled),
    FIELD(ha_bond_if),
    FIELD(ha_bond_ip),
    FIELD(ha_bond_netmask),
    FIELD(ha_bond_if_enabled),
    FIELD(ha_mac),
    FIELD(mac0),
    FIELD(mac1),
    FIELD(begin_time),
    FIELD(is_hybrid),
    FIELD(model_group),
    FIELD(model0),
    FIELD(model1),
    FIELD(lan_num),
};
#undef FIELD

// The text number `index` of a field.
char* TextAt(HA_CONF_STRUCT* record, const Field& field, size_t index) {
  return reinterpret_cast<char*>(record) + field.offset + index * field.width;
}

void SetText(const Json& value, const Field& field, size_t index, HA_CONF_STRUCT* record) {
  if (!value.is_string()) throw Failure(fmt::format("{} must be text", field.name));
  const std::string text = value.get<std::string>();
  if (text.size() >= field.width || text.find('\0') != text.npos) {
    throw Failure(fmt::format("{} holds at most {} bytes, none of them zero: \"{}\" does not fit",
                              field.name, field.width - 1, text));
  }
  char* const place = TextAt(record, field, index);
  memset(place, 0, field.width);
  text.copy(place, text.size());
}

void SetField(const std::string& name, const Json& value, HA_CONF_STRUCT* record) {
  const Field* found = nullptr;
  try {
    found = &Choose(kFields, name, "field");
  } catch (const WrongUse& unknown) {
    throw Failure(unknown.what());  // it is the record that is wrong, not the command line
  }
  if (found->count == 0) return SetText(value, *found, 0, record);
  if (!value.is_array() || value.size() != found->count) {
    throw Failure(fmt::format("{} must be a list of {} texts", name, found->count));
  }
  for (size_t i = 0; i < found->count; ++i) SetText(value[i], *found, i, record);
}

Answer ConfExport(const CLI::App&) {
  HA_CONF_STRUCT record{};
  if (HAConfStructGet(&record) != 0) throw LibraryFailure("ha.conf cannot be read");
  Json json;
  for (const Field& field : kFields) {
    if (field.count == 0) {
      json[field.name] = TextAt(&record, field, 0);
    } else {
      Json& list = json[field.name] = Json::array();
      for (size_t i = 0; i < field.count; ++i) list.push_back(TextAt(&record, field, i));
    }
  }
  return {.record = json, .text = json.dump(2, ' ', false, Json::error_handler_t::replace)};
}

Json ReadJson(const std::string& path) {
  std::ifstream file;
  if (path != "-") {
    file.open(path);
    if (!file) throw Failure(fmt::format("cannot open {}: {}", path, strerror(errno)));
  }
  std::istream& source = path == "-" ? std::cin : file;
  const std::string text(std::istreambuf_iterator<char>(source), {});
  try {
    Json json = Json::parse(text);
    if (json.is_object()) return json;
  } catch (const Json::parse_error& error) {
    throw Failure(fmt::format("{} holds no JSON: {}", path, error.what()));
  }
  throw Failure(path + " must hold a JSON object, as \"tavohactl conf export\" prints it");
}

Answer ConfImport(const CLI::App& arguments) {
  const Json json = ReadJson(Text(arguments, "FILE"));
  HA_CONF_STRUCT record{};
  HAConfStructGet(&record);  // what is left out stays; an empty ha.conf has nothing to stay
  for (const auto& [name, value] : json.items()) SetField(name, value, &record);
  Confirm(arguments, "replace the values in ha.conf");
  if (HAConfStructSet(&record) != 0) throw LibraryFailure("ha.conf could not be written");
  return {.record = {{"fields", json.size()}},
          .text = fmt::format("{} fields are written to ha.conf; values that /tmp/.ha.conf holds "
                              "go on being read from there",
                              json.size())};
}

Answer ConfReset(const CLI::App& arguments) {
  Confirm(arguments, "return ha.conf to its factory state");
  if (TAVOHAResetConf() != 0) throw LibraryFailure("ha.conf could not be reset");
  return {.record = {{"done", true}},
          .text = "ha.conf is reset; values that /tmp/.ha.conf holds go on being read from there"};
}

Answer ConfForgetPeer(const CLI::App& arguments) {
  Confirm(arguments, "remove the peer's host name and addresses from ha.conf");
  if (TAVOHACleanConfRemote() != 0) throw LibraryFailure("the peer could not be forgotten");
  return {.record = {{"done", true}}, .text = "the peer is forgotten"};
}

}  // namespace

void AddConfRecord(CommandTree* tree, CLI::App* conf) {
  tree->AddCommand(conf, "export", "Print the whole of ha.conf as a JSON record", ConfExport);
  CLI::App* import = tree->AddCommand(
      conf, "import", "Write such a record to ha.conf; fields left out stay", ConfImport);
  import->add_option("FILE", "Where it is, or - for standard input; corosync_key is passed over")
      ->required();
  CLI::App* reset = tree->AddCommand(conf, "reset", "Return to the factory state", ConfReset);
  CLI::App* forget =
      tree->AddCommand(conf, "forget-peer", "Empty the peer's values", ConfForgetPeer);
  for (CLI::App* command : {import, reset, forget}) AddConfirmation(command);
}

}  // namespace tavohactl
