// tavohactl peer: messages to the peer, and work for it.
#include <fmt/format.h>
#include <tavohacore.h>

#include <string>

#include "command.h"
#include "nodes.h"
#include "progress.h"

namespace tavohactl {
namespace {

Answer Sent(bool sent, const std::string& what) {
  const std::string name = DisplayName(NODE_TYPE_REMOTE);
  if (!sent) throw LibraryFailure(fmt::format("{} could not be sent to {}", what, name));
  return {.record = {{"sent_to", name}}, .text = fmt::format("{} is sent to {}", what, name)};
}

Answer PeerSend(const CLI::App& arguments) {
  std::string message = Text(arguments, "MESSAGE");
  const std::string file = Text(arguments, "--file");
  const bool sent = SendAisMsg(message.data(), static_cast<unsigned int>(message.size()),
                               file.empty() ? nullptr : file.c_str()) == 0;
  return Sent(sent, "the message");
}

Answer PeerLog(const CLI::App& arguments) {
  const std::string name = DisplayName(NODE_TYPE_REMOTE), event = Text(arguments, "EVENT"),
                    user = Text(arguments, "--user");
  const Progress progress("Waiting for the answer of " + name);
  if (TAVOHALogMessageSend(arguments["--class"]->as<int>(), arguments["--type"]->as<int>(),
                           event.c_str(), user.c_str()) != 0) {
    throw LibraryFailure(name + " did not record the event: it is not online, or did not answer");
  }
  return {.record = {{"recorded_by", name}}, .text = name + " has answered"};
}

Answer PeerSmartTest(const CLI::App& arguments) {
  return Sent(TAVOHASmartRemoteRun(Text(arguments, "DISK").c_str()) == 0, "the order for the test");
}

Answer PeerTrim(const CLI::App& arguments) {
  return Sent(TAVOHASSDRemoteTrim(Text(arguments, "SPACE").c_str()) == 0, "the order to trim");
}

Answer PeerSyncSysPart(const CLI::App&) { return Sent(TAVOHASetRemoteSysPart() == 0, "the order"); }

}  // namespace

void AddPeer(CommandTree* tree) {
  CLI::App* group =
      tree->AddGroup("peer", "Send the peer messages, log records and work",
                     "  tavohactl peer log \"Fan 2 was replaced\" --user admin\n"
                     "  tavohactl peer smart-test /dev/sda\n"
                     "  tavohactl peer send \"SYNCMD01\"      a message as it travels\n"
                     "\n"
                     "Only \"log\" waits for the peer to act.\n");
  CLI::App* send = tree->AddCommand(group, "send", "Send a message", PeerSend);
  send->add_option("MESSAGE", "A command word of 8 characters, and its argument")->required();
  send->add_option("--file", "Put the message before this file's content, and send the file's path")
      ->option_text("PATH");

  CLI::App* log = tree->AddCommand(group, "log", "Have an event recorded by the peer", PeerLog);
  log->add_option("EVENT", "What happened")->required();
  log->add_option("--user", "Who is said to have done it")->option_text("NAME [root]");
  log->get_option("--user")->default_str("root");
  for (const char* number : {"--class", "--type"}) {
    log->add_option(number, "A number of the event log")
        ->option_text("NUMBER [0]")
        ->default_str("0")
        ->check(CLI::TypeValidator<int>("number"));
  }
  tree->AddCommand(group, "smart-test", "Have the peer test a disk (S.M.A.R.T.)", PeerSmartTest)
      ->add_option("DISK", "For example /dev/sda")
      ->required();
  tree->AddCommand(group, "trim", "Have the peer trim a space on SSDs", PeerTrim)
      ->add_option("SPACE", "Its path")
      ->required();
  tree->AddCommand(group, "sync-sys-part", "Have the peer bring its system partitions in line",
                   PeerSyncSysPart);
}

}  // namespace tavohactl
