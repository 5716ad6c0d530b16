// One node of a cluster whose every tool is scripted, and what a call does there.
#ifndef TESTS_CRM_CLUSTER_H_
#define TESTS_CRM_CLUSTER_H_

#include <tavohacore.h>

#include <functional>
#include <regex>
#include <sstream>
#include <utility>

#include "tests/frame/logged.h"

namespace test_support {

// What happened, in order: entries with "; " between. Empty ones are left out.
using Story = std::string;

inline Story Then(const std::vector<Story>& parts) {
  Story story;
  for (const Story& part : parts) story += story.empty() || part.empty() ? part : "; " + part;
  return story;
}
inline Story Times(size_t count, const Story& part) {
  return Then(std::vector<Story>(count, part));
}

// The rules that keep resources off nas-b, by type.
inline const Story kRules[] = {"RULE_SYNC_DONE",   "RULE_SPACE_SYNC",  "RULE_SERV_FAIL",
                               "RULE_MEMSIZE",     "RULE_PING_SERVER", "RULE_SB_nas-b",
                               "RULE_VER_MISMATCH"};

// A tool's answers, run by run: each text behind `start`.
inline std::vector<ToolAnswer> Says(const std::string& start,
                                    const std::vector<std::string>& ends) {
  std::vector<ToolAnswer> answers;
  for (const std::string& end : ends) answers.push_back({.output = start + end + "\n"});
  return answers;
}

// This node is nas-a, host0; its peer is nas-b. HA and the cluster stack run. Until told otherwise
// each tool is silent and exits with 0, but for cibadmin, whose queries find nothing (6). Time is
// virtual.
class Cluster : public Logged {
 protected:
  Cluster() {
    StartHa();
    SetConf("host0=nas-a\nhost1=nas-b\ndrbd_ip1=169.254.1.2\n");
    for (ScriptedTool& tool : tools) tool.Answer({{}});
    cibadmin.Answer({{.exit_status = 6}});
  }

  void PeerIs(const std::vector<std::string>& words) { crm_mon.Answer(Says("nas-b: ", words)); }
  void RunsAt(const std::string& resource, const std::vector<std::string>& nodes) {
    crm_resource.AnswerTo({"--resource", resource, "--locate"}, Says("running on: ", nodes));
  }
  void Lists(const std::vector<int>& counts) {
    std::vector<std::string> lists(counts.size());
    for (size_t i = 0; i < counts.size(); ++i) {
      for (char r = 'A'; r < 'A' + counts[i]; ++r) lists[i].append({r, ':', '0', '\n'});
    }
    crm_resource.AnswerTo({"--list-raw"}, Says("", lists));
  }

  // Expects a call's result, and what was done and logged since the last look: "pause SECONDS" and
  // command lines, without the tool's directory and the most frequent ones in the short forms
  // below; lines of the cluster's control as "LEVEL body".
  void Expect(int result, int expected, const Story& done, const Story& logged = "",
              int line = __builtin_LINE(), const char* file = __builtin_FILE()) {
    const ScopedTrace trace(file, line, "checked");
    EXPECT_EQ(result, expected);
    EXPECT_EQ(Done(), done);
    EXPECT_EQ(Log(), logged);
  }
  Story Done() {
    NoteCommands();
    return Then(std::exchange(done_, {}));
  }
  Story Log() { return log.Take("libcrm"); }

  ScriptedTool tools[7] = {ScriptedTool("/usr/bin/crm_mon"),
                           ScriptedTool("/usr/bin/crm_resource"),
                           ScriptedTool("/usr/bin/crm_node"),
                           ScriptedTool("/usr/bin/crm"),
                           ScriptedTool("/usr/bin/cibadmin"),
                           ScriptedTool("/usr/bin/corosync-objctl"),
                           ScriptedTool("/usr/tavo/tavoha/lib/ocf/resource.d/tavoware/IPaddr2")};
  ScriptedTool &crm_mon = tools[0], &crm_resource = tools[1], &crm_node = tools[2], &crm = tools[3],
               &cibadmin = tools[4], &agent = tools[6];
  std::function<void()> at_pause = [this] {
    NoteCommands();
    done_.push_back((std::ostringstream() << "pause " << clock_.pauses().back()).str());
  };

 private:
  void NoteCommands() {
    static const std::pair<std::regex, Story> kShort[] = {
        {std::regex(R"(^/[^ ]*/)"), ""},
        {std::regex(R"(^crm_resource --resource (.*) --locate$)"), "locate $1"},
        {std::regex(R"(^crm_resource --list-raw$)"), "list"},
        {std::regex(R"(^crm_resource --resource (.*) --delete-parameter (.*) --meta$)"),
         "unset $1 $2"},
        {std::regex(R"(^crm_node --list$)"), "members"},
        {std::regex(R"(^crm_mon -1 -S$)"), "status"},
        {std::regex(R"(^cibadmin -Ql --xpath //rsc_location\[@id='(.*)'\]$)"), "has $1"},
        {std::regex(R"(^cibadmin --delete --xpath //rsc_location\[@id='(.*)'\]$)"), "delete $1"},
        {std::regex(R"~(^cibadmin -Ql --xpath '//nvpair\[@id="(.*)-meta_attributes-(.*)" and )~"
                    R"~(@name="\2"( and @value="false"|)\]'$)~"),
         "nvpair $1 $2$3"},
        {std::regex(R"~(^cibadmin --query --local --xpath //node_state\[@id="(.*)"\])~"
                    R"~(//nvpair\[contains\(@id,"fail-count"\)\]$)~"),
         "failed $1"}};
    for (Story command : TakeCommandLines()) {
      for (const auto& [form, name] : kShort) command = std::regex_replace(command, form, name);
      done_.push_back(command);
    }
  }

  std::vector<Story> done_;
  VirtualClock clock_{[this](size_t) { at_pause(); }};
};

}  // namespace test_support

#endif  // TESTS_CRM_CLUSTER_H_
