// The commands about the cluster's identity and this node: hostname, serial, model, binding,
// conflict and stop.
#include <fmt/format.h>
#include <tavohacore.h>

#include <string>

#include "command.h"
#include "progress.h"

namespace tavohactl {
namespace {

Json TextOrNull(bool there, const char* text) { return there ? Json(text) : Json(); }

Answer Hostname(const CLI::App& arguments) {
  if (arguments.count("NAME") > 0) {
    const std::string name = Text(arguments, "NAME");
    if (TAVOHASetHAHostname(name.c_str()) != 0) {
      throw LibraryFailure("the host name could not be set");
    }
  }
  char cluster[kHostNameSize] = {}, local[kHostNameSize] = {}, remote[kHostNameSize] = {};
  const bool has_cluster = TAVOHAGetHAHostname(cluster, sizeof cluster) == 0;
  const bool has_local = TAVOHAGetOriginalHostname(local, sizeof local, 1) == 0;
  // While HA does not run, the library gives this node's name for both.
  const bool has_remote =
      TAVOHAIsRunning() == 1 && TAVOHAGetOriginalHostname(remote, sizeof remote, 0) == 0;
  return {.record = {{"cluster", TextOrNull(has_cluster, cluster)},
                     {"local", TextOrNull(has_local, local)},
                     {"remote", TextOrNull(has_remote, remote)}}};
}

Answer Serial(const CLI::App& arguments) {
  char serial[kValueSize] = {};
  if (TAVOHAGetSN(arguments.count("--custom") > 0 ? 1 : 0, serial, sizeof serial) != 0) {
    throw LibraryFailure("there is no serial number");
  }
  return {.record = {{"serial", serial}}, .text = serial};
}

Answer Model(const CLI::App&) {
  char model[kValueSize] = {};
  if (TAVOHAGetModel(model, sizeof model) != 0) throw LibraryFailure("there is no model name");
  return {.record = {{"model", model}}, .text = model};
}

Answer Binding(const CLI::App&) {
  _tag_BindingProgress binding{};
  _tag_UnbindingProgress unbinding{};
  const bool has_binding = BindingProgressGet(&binding) == 0;
  const bool has_unbinding = UnbindingProgressGet(&unbinding) == 0;
  return {.record = {{"binding", HAIsBinding() == 1},
                     {"binding_progress", has_binding ? Json(int{binding}) : Json()},
                     {"unbinding_progress", has_unbinding ? Json(int{unbinding}) : Json()}}};
}

Answer Conflict(const CLI::App& arguments) {
  return YesOrNo("conflict", TAVOHAIsHAIPConflict(Text(arguments, "ADDRESS").c_str()) == 1);
}

Answer Stop(const CLI::App& arguments) {
  if (TAVOHAIsRunning() == 0) throw Failure("HA does not run on this node");
  Confirm(arguments, "stop HA on this node");
  const Progress progress("Stopping HA");
  const int result = TAVOHAStop();
  if (result != 0) {
    throw LibraryFailure(fmt::format("the control script gave {} for \"stop\"", result));
  }
  return {.record = {{"stopped", true}}, .text = "HA is stopped on this node"};
}

void WithExample(CLI::App* command, const std::string& example) {
  command->footer("Examples:\n  tavohactl " + example + "\n");
}

}  // namespace

void AddHost(CommandTree* tree) {
  CLI::App* root = tree->root();
  CLI::App* hostname =
      tree->AddCommand(root, "hostname", "Print the host names, or set the cluster's", Hostname);
  hostname->add_option("NAME", "The cluster's new name");
  WithExample(hostname, "hostname\n  tavohactl hostname nas");

  CLI::App* serial = tree->AddCommand(root, "serial", "Print the cluster's serial number", Serial);
  const std::string custom = "The custom one";
  serial->add_flag("--custom", custom);
  WithExample(serial, "serial --custom");

  WithExample(tree->AddCommand(root, "model", "Print the cluster's model name", Model), "model");
  WithExample(
      tree->AddCommand(root, "binding", "Print how far binding two nodes has come", Binding),
      "binding --json");

  CLI::App* conflict = tree->AddCommand(
      root, "conflict", "Tell whether an address is one that HA manages on either node", Conflict);
  conflict->add_option("ADDRESS")->required();
  WithExample(conflict, "conflict 192.0.2.100 || echo it is free");

  CLI::App* stop = tree->AddCommand(root, "stop", "Stop HA on this node", Stop);
  AddConfirmation(stop);
  WithExample(stop, "stop --yes");
}

}  // namespace tavohactl
