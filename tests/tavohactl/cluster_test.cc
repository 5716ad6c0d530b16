// tavohactl on the simulated cluster, from nothing to the end, and its answers against the
// cluster's own record. The library's pauses pass at once.
#include <nlohmann/json.hpp>
#include <regex>

#include "tests/simcluster/launched.h"

namespace {

using namespace test_support;
using nlohmann::json;

class CtlCluster : public Launched {
 protected:
  void SetUp() override { ASSERT_EQ(Start().output, ""); }

  ShellResult Tavohactl(const std::string& node, const std::string& command_line) const {
    return Run("run " + node + " -- env LD_PRELOAD=" VIRTUAL_TIME_LIBRARY " tavohactl " +
               command_line);
  }

  // What the cluster itself has on record about a node, in the words of "tavohactl status".
  json OnRecord(const std::string& host) const {
    const std::string cib = Do("cib");
    std::smatch state;
    const std::regex form("<node_state id=\"" + host +
                          "\"[^>]*crmd=\"online\" standby=\"(\\w+)\"[^]*?</node_state>");
    EXPECT_TRUE(std::regex_search(cib, state, form)) << cib;
    const auto runs = [&](const char* resource) {
      return state.str().find("<lrm_resource id=\"" + std::string(resource)) != std::string::npos;
    };
    const bool standby = state[1] == "true";
    const char* role = standby ? "none" : runs("DUMMY_END") ? "active" : "passive";
    EXPECT_TRUE(standby || runs("DRBD_"));
    json rules = json::array();
    const std::regex rule("<rsc_location id=\"RULE_SERV_FAIL\" node=\"" + host + "\"");
    if (std::regex_search(cib, rule)) rules.push_back("serv-fail");
    return {{"status", standby ? "warning_online" : "online"}, {"role", role}, {"rules", rules}};
  }
  // Compares that with what both nodes say, and returns which host is active.
  std::string ActiveAsAllAgree() const {
    std::string active;
    for (const char* asked : {"nas-a", "nas-b"}) {
      const json status = json::parse(Tavohactl(asked, "status --json").output);
      for (const json& node : status["nodes"]) {
        const std::string host = node["host_name"];
        EXPECT_EQ(node["local"], host == asked);
        const json seen = {
            {"status", node["status"]}, {"role", node["role"]}, {"rules", node["rules"]}};
        EXPECT_EQ(seen, OnRecord(host)) << host << " as seen by " << asked;
        if (node["role"] == "active") active = host;
        if (host == asked) {
          EXPECT_EQ(status["active"], node["role"] == "active") << asked;
        }
      }
    }
    return active;
  }
};

TEST_F(CtlCluster, LeadsAClusterThroughItsLife) {
  const struct {
    const char *node, *command_line;
    int status;
    const char *output, *active = nullptr;  // where given: the active host after it, as all agree
  } steps[] = {
      {"nas-a", "cluster init --full --yes", 0, "the default configuration is loaded\n", ""},
      {"nas-a", "resource configured IP", 0, "yes\n"},
      {"nas-a", "resource where IP", 1, "nowhere\n"},
      {"nas-a", "node online local", 0, "nas-a is online\n"},
      {"nas-a", "node online remote", 0, "nas-b is online\n", "nas-a"},
      {"nas-b", "wait", 0, "settled: this node is passive\n"},
      {"nas-b", "role host1", 0, "passive\n"},
      {"nas-b", "resource where DRBD", 0, "nas-a\nnas-b\n"},
      {"nas-b", "resource where IP nas-a", 0, "yes\n"},
      {"nas-b", "node exists remote", 0, "yes\n"},
      {"nas-a", "node standby local", 0, "nas-a is on standby\n", "nas-b"},
      {"nas-a", "node online local", 0, "nas-a is online\n", "nas-b"},
      {"nas-a", "rule add remote serv-fail", 0,
       "the rule serv-fail keeps the resources off nas-b\n", "nas-a"},
      {"nas-a", "rule add serv-fail", 1,
       "tavohactl: the rule serv-fail stands for the other node; remove it first\n"},
      {"nas-b", "rule add sb", 0, "the rule sb keeps the resources off nas-b\n"},
      {"nas-b", "rule list", 0,
       "RULE       NODE   HOST NAME\nserv-fail  host1  nas-b\nsb         host1  nas-b\n"},
      {"nas-a", "rule remove serv-fail", 0, "the rule serv-fail is removed\n"},
      {"nas-a", "rule remove sb", 0, "the rule sb is removed\n"},
      {"nas-a", "rule list remote", 0, "RULE  NODE   HOST NAME\nsb    host1  nas-b\n"},
      {"nas-a", "rule clear remote", 0, "no rule keeps the resources off nas-b\n", "nas-a"},
      {"nas-a", "sync events", 0,
       "KEY          VALUE\n/etc/passwd  modified\n/etc/group   modified\n"},
      {"nas-b", "sync abandoned", 0, "KEY        VALUE\n/etc/motd  no such file\n"},
      {"nas-b", "ip status", 0, "managed\n"},
      {"nas-a", "ip unmanage", 0, "unmanaged\n"},
      {"nas-b", "ip status", 1, "unmanaged\n"},
      {"nas-a", "ip restart", 0, "the service address is restarted, and managed\n"},
      {"nas-a", "cluster clean", 0, "what manual interventions left is removed\n", "nas-a"},
      {"nas-a", "cluster remove-peer --yes", 0, "nas-b is removed\n"},
      {"nas-a", "node exists host1", 1, "no\n"},
      {"nas-a", "cluster reset --yes", 1,
       "tavohactl: the configuration is not erased: while resources run, only --full does that; "
       "see "
       "the system log, lines with [HA-ERROR]\n"},
      {"nas-a", "cluster reset --full --yes", 0, "the configuration is erased\n"}};
  for (const auto& [node, command_line, status, output, active] : steps) {
    SCOPED_TRACE(std::string(node) + ": tavohactl " + command_line);
    const ShellResult result = Tavohactl(node, command_line);
    EXPECT_EQ(result, (ShellResult{output, status}));
    if (active != nullptr) {
      EXPECT_EQ(ActiveAsAllAgree(), active);
    }
  }
}

TEST_F(CtlCluster, WhatTheClusterDoesNotDoIsNotReportedAsDone) {
  ASSERT_EQ(Tavohactl("nas-a", "cluster init --full --yes").status, 0);
  const std::pair<const char*, const char*> cases[] = {
      {"ip unmanage", "the service address is still managed"},
      {"rule add sb", "the rule sb could not be added for nas-a"},
      {"cluster init --yes", "the default configuration could not be loaded"}};
  for (const char* tool : {"cibadmin", "crm_resource", "crm"}) {
    ASSERT_EQ(Do("fault tool " + std::string(tool) + " fail"), "");
  }
  for (const auto& [command_line, error] : cases) {
    const ShellResult result = Tavohactl("nas-a", command_line);
    EXPECT_EQ(result.status, 1) << command_line;
    EXPECT_EQ(result.output, std::string("tavohactl: ") + error + "; see the system log, " +
                                 "lines with [HA-ERROR]\n");
  }
}

}  // namespace
