// simcluster: a two-node cluster on one machine.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iterator>
#include <string>
#include <vector>

#include "simcluster/launcher/cluster.h"
#include "simcluster/launcher/trial.h"
#include "simcluster/state/cluster_state.h"

namespace simcluster {
namespace {

constexpr int kExitUsage = 2;

// Messages may hold any bytes.
void Print(const std::string& text) { fwrite(text.data(), 1, text.size(), stdout); }

void PrintStatus(const Cluster& cluster) {
  if (!cluster.IsRunning()) {
    puts("no cluster runs");
    return;
  }
  const ClusterState state = ClusterState::Read(cluster.SharedDirectory());
  for (size_t i = 0; i < state.nodes.size(); ++i) {
    printf("%s  %s  %s\n", kNodes[i].selector.c_str(), state.nodes[i].name.c_str(),
           state.nodes[i].condition.c_str());
  }
  for (const auto& [tool, fault] : state.faults) {
    if (fault != "none") printf("fault  %s  %s\n", tool.c_str(), fault.c_str());
  }
  if (state.log_fault != "none") printf("fault  log  %s\n", state.log_fault.c_str());
  if (state.sync_fault != "none") printf("fault  sync  %s\n", state.sync_fault.c_str());
  if (state.slow_seconds > 0) printf("fault  slow  %d s\n", state.slow_seconds);
}

[[noreturn]] void RunShell(const Cluster& cluster, const NodeName& node) {
  setenv("PS1", ("[" + node.host_name + "] \\w # ").c_str(), 1);
  cluster.Run(node, {"/bin/bash", "--norc"});
}

// What may be given: the names in a table, or of its rows.
template <typename Table>
CLI::Validator IsOneOf(const Table& table) {
  std::vector<std::string> names;
  for (const auto& row : table) {
    if constexpr (std::is_convertible_v<decltype(row), std::string>) {
      names.emplace_back(row);
    } else {
      names.emplace_back(row.name);
    }
  }
  return CLI::IsMember(names);
}

// The command line, last word first as CLI11 takes it. The "--" that may stand before the command
// of "run" and "try" is left out: to CLI11 it would end the words of "run" itself.
std::vector<std::string> WordsOf(int argc, char** argv) {
  std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  size_t at = 0;
  while (at < words.size() && words[at].starts_with('-')) at += words[at] == "--state" ? 2 : 1;
  const size_t before_command = at + (at < words.size() && words[at] == "run" ? 2 : 1);
  const bool has_command = at < words.size() && (words[at] == "run" || words[at] == "try");
  if (has_command && before_command < words.size() && words[before_command] == "--") {
    words.erase(words.begin() + static_cast<ptrdiff_t>(before_command));
  }
  std::ranges::reverse(words);
  return words;
}

int Main(int argc, char** argv) {
  CLI::App app("A two-node cluster on one machine, each node a private root of its own.",
               "simcluster");
  std::string directory = Cluster::DefaultDirectory(), node, condition, tool, fault, resource;
  int seconds = 0;
  app.add_option("--state", directory, "The directory that holds the cluster")
      ->envname("SIMCLUSTER_STATE")
      ->capture_default_str();
  app.require_subcommand(1);
  app.footer(
      "Examples:\n"
      "  simcluster try -- ./program       one command: start, run on both nodes, stop\n"
      "  simcluster start\n"
      "  simcluster run nas-a -- tavohactl status\n"
      "  simcluster fault node nas-b offline\n"
      "  simcluster log nas-a              what the library logged there\n"
      "  simcluster stop");

  CLI::App* start = app.add_subcommand("start", "Start the cluster");
  CLI::App* stop = app.add_subcommand("stop", "End it, leaving nothing behind");
  CLI::App* status = app.add_subcommand("status", "Show the nodes and the ordered faults");
  CLI::App* run = app.add_subcommand("run", "Run a command on a node: run NODE [--] COMMAND...");
  CLI::App* attempt = app.add_subcommand(
      "try", "Run a command on both nodes of a cluster in service, for as long as it runs");
  CLI::App* shell = app.add_subcommand("shell", "Open a shell on a node");
  CLI::App* log = app.add_subcommand("log", "Print what a node logged");
  CLI::App* journal =
      app.add_subcommand("journal", "Print what a node's IP agent and control script were asked");
  CLI::App* messages = app.add_subcommand("messages", "Print the messages that came to a node");
  CLI::App* cib = app.add_subcommand("cib", "Print the cluster information base");
  for (CLI::App* on_node : {run, shell, log, journal, messages}) {
    on_node->add_option("node", node, "host0 or nas-a, host1 or nas-b")->required();
  }
  for (CLI::App* with_command : {run, attempt}) with_command->prefix_command();

  CLI::App* order = app.add_subcommand("fault", "Order a fault")->require_subcommand(1);
  CLI::App* node_fault = order->add_subcommand("node", "Put a node into a state");
  node_fault->add_option("node", node)->required();
  node_fault->add_option("condition", condition)->required()->check(IsOneOf(kNodeConditions));
  CLI::App* tool_fault = order->add_subcommand("tool", "Make a cluster tool go wrong, or right");
  tool_fault->add_option("tool", tool)->required()->check(IsOneOf(kClusterTools));
  tool_fault->add_option("fault", fault)->required()->check(IsOneOf(kToolFaults));

  CLI::App* operation_fault =
      order->add_subcommand("operation", "Have an operation of a resource fail on a node");
  operation_fault->add_option("node", node)->required();
  operation_fault->add_option("resource", resource)->required();
  CLI::App* slow_fault =
      order->add_subcommand("slow", "Make the cluster take that long for each transition");
  slow_fault->add_option("seconds", seconds)->required()->check(CLI::Range(0, 86400));

  CLI::App* log_fault = order->add_subcommand("log", "Make the nodes answer log requests wrongly");
  log_fault->add_option("fault", fault)->required()->check(IsOneOf(kLogFaults));
  CLI::App* sync_fault = order->add_subcommand("sync", "Make the sync daemons answer wrongly");
  sync_fault->add_option("fault", fault)->required()->check(IsOneOf(kSyncFaults));

  try {
    app.parse(WordsOf(argc, argv));
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kExitUsage;
  }

  const Cluster cluster(directory);
  if (*start) cluster.Start();
  if (*stop) cluster.Stop();
  if (*status) PrintStatus(cluster);
  if (*log) Print(cluster.Log(Cluster::FindNode(node)));
  if (*journal) Print(cluster.Journal(Cluster::FindNode(node)));
  if (*messages) Print(cluster.Messages(Cluster::FindNode(node)));
  if (*cib) Print(cluster.InformationBase());
  if (*operation_fault) cluster.FailOperation(Cluster::FindNode(node), resource);
  if (*log_fault) cluster.SetLogFault(fault);
  if (*sync_fault) cluster.SetSyncFault(fault);
  if (*slow_fault) cluster.SetSlowness(seconds);
  if (*shell) RunShell(cluster, Cluster::FindNode(node));
  if (*node_fault) cluster.SetNodeCondition(Cluster::FindNode(node), condition);
  if (*tool_fault) cluster.SetToolFault(tool, fault);
  for (const CLI::App* with_command : {run, attempt}) {
    if (!*with_command || !with_command->remaining().empty()) continue;
    fprintf(stderr, "simcluster: %s needs a COMMAND\n", with_command->get_name().c_str());
    return kExitUsage;
  }
  if (*run) cluster.Run(Cluster::FindNode(node), run->remaining());
  if (*attempt) return TryOnBothNodes(attempt->remaining());
  return 0;
}

}  // namespace
}  // namespace simcluster

int main(int argc, char** argv) {
  try {
    return simcluster::Main(argc, argv);
  } catch (const std::exception& error) {
    fprintf(stderr, "simcluster: %s\n", error.what());
    return 1;
  }
}
