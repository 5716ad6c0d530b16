#include "simcluster/placement/placement.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "simcluster/cib/configuration_script.h"
#include "simcluster/placement/settle.h"

namespace simcluster {
namespace {

// A short chain, of the same make as the appliance's.
constexpr char kScript[] = R"(configure
primitive START ocf:tavoware:Dummy
primitive DRBD_ ocf:tavoware:drbd meta migration-threshold=1
primitive IP ocf:tavoware:IPaddr2 meta migration-threshold=1
primitive END ocf:tavoware:Dummy
primitive PING_ ocf:tavoware:ping
ms DRBD DRBD_ meta master-max=1 clone-max=2
clone PING PING_
colocation TOGETHER INFINITY: START END IP DRBD:Master
order ORDER mandatory: START DRBD:promote IP END
commit
exit
)";

// A cluster of the nodes a and b, and what is done to it, in words.
class TwoNodes {
 public:
  TwoNodes() {
    for (const char* node : {"a", "b"}) {
      cib_.AddNode(node);
      state_.nodes.push_back({.name = node, .id = node});
    }
    RunConfigurationScript(kScript, cib_);
    Settle(state_, {}, cib_);
  }

  void Do(const std::string& what) {
    std::istringstream words(what);
    std::string verb, node, object;
    words >> verb >> node >> object;
    if (verb == "standby" || verb == "activate") cib_.SetStandby(node, verb == "standby");
    if (verb == "fail") cib_.AddFailure(node, object);
    if (verb == "clear") cib_.ClearFailures(node);
    if (verb == "node") state_.Find(node)->condition = object;
    if (verb == "lift") cib_.Configured("RULE_" + node).Remove();
    if (verb == "ban") {
      cib_.section("constraints")
          .Add("rsc_location",
               {{"id", "RULE_" + node}, {"node", node}, {"rsc", "START"}, {"score", "-INFINITY"}});
    }
    if (verb == "set") {
      const size_t equals = object.find('=');
      Cib::SetPair(cib_.Configured(node), "meta_attributes", object.substr(0, equals),
                   object.substr(equals + 1));
    }
    Settle(state_, {}, cib_);
  }

  std::string Where() const {
    std::string text;
    for (const auto& [node, running] : RecordedPlacement(cib_)) {
      text += text.empty() ? "" : " | ";
      text += node + ":";
      for (const auto& [primitive, role] : running) {
        text += " " + primitive + (role == Role::kMaster ? "M" : role == Role::kSlave ? "S" : "");
      }
    }
    return text;
  }

 private:
  Cib cib_;
  ClusterState state_;
};

constexpr char kOnA[] = "a: DRBD_M END IP PING_ START | b: DRBD_S PING_";
constexpr char kOnB[] = "a: DRBD_S PING_ | b: DRBD_M END IP PING_ START";
constexpr char kOnlyB[] = "b: DRBD_M END IP PING_ START";

TEST(Placement, FollowsConditionsRulesAndFailures) {
  struct Case {
    const char* name;
    std::vector<std::string> done;
    const char* where;
  };
  for (const auto& [name, done, where] : std::vector<Case>{
           {"begins on the first node", {}, kOnA},
           {"a node on standby runs nothing", {"standby a"}, kOnlyB},
           {"stays where it is when the other returns", {"standby a", "activate a"}, kOnB},
           {"nobody is left", {"standby a", "standby b"}, ""},
           {"offline", {"node a offline"}, kOnlyB},
           {"unclean", {"node a unclean"}, kOnlyB},
           {"pending", {"node a pending"}, kOnlyB},
           {"onfail", {"node a onfail"}, kOnlyB},
           {"lost", {"node a lost"}, kOnlyB},
           {"a node that returns gets its slave again", {"node a lost", "node a online"}, kOnB},
           {"a rule moves the chain and leaves slave and clone", {"ban a"}, kOnB},
           {"a lifted rule moves nothing by itself", {"ban a", "lift a"}, kOnB},
           {"a lifted rule lets it back",
            {"ban a", "lift a", "standby b"},
            "a: DRBD_M END IP PING_ START"},
           {"rules on both", {"ban a", "ban b"}, "a: DRBD_S PING_ | b: DRBD_S PING_"},
           {"a failure moves the chain", {"fail a IP"}, kOnB},
           {"a failed set has no instance there",
            {"fail a DRBD_"},
            "a: PING_ | b: DRBD_M END IP PING_ START"},
           {"failures everywhere stop the chain half-way, where it is",
            {"fail a IP", "fail b IP"},
            "a: DRBD_S PING_ | b: DRBD_M PING_ START"},
           {"the node with the longer part wins",
            {"fail a DRBD_", "fail b IP"},
            "a: PING_ | b: DRBD_M PING_ START"},
           {"cleared failures", {"fail a IP", "fail b IP", "clear b"}, kOnB},
           {"stopped member",
            {"set IP target-role=Stopped"},
            "a: DRBD_M PING_ START | b: DRBD_S PING_"},
           {"set held at slave",
            {"set DRBD target-role=Slave"},
            "a: DRBD_S PING_ START | b: DRBD_S PING_"},
           {"what is unmanaged stays and holds the chain",
            {"set IP is-managed=false", "ban a"},
            "a: DRBD_S IP PING_ | b: DRBD_S PING_"},
           {"unmanaged on standby",
            {"set IP is-managed=false", "standby a"},
            "a: IP | b: DRBD_S PING_"},
           {"unmanaged and not running is not started",
            {"set IP target-role=Stopped", "set IP is-managed=false", "set IP target-role=Started"},
            "a: DRBD_M PING_ START | b: DRBD_S PING_"},
           {"unmanaged dies with its node",
            {"set IP is-managed=false", "node a lost"},
            "b: DRBD_M PING_ START"},
           {"managed again", {"set IP is-managed=false", "ban a", "set IP is-managed=true"}, kOnB},
       }) {
    TwoNodes nodes;
    for (const std::string& what : done) nodes.Do(what);
    EXPECT_EQ(nodes.Where(), where) << name;
  }
}

TEST(Placement, OfASlowClusterIsSeenOnlyAfterItsTime) {
  using std::chrono::seconds;
  ClusterState state{.nodes = {{.name = "a", .id = "1"}}, .slow_seconds = 5};
  Cib cib;
  const auto words_at = [&](int second) {
    Settle(state, seconds(second), cib);
    return StatusWords(state, cib, "a");
  };
  EXPECT_EQ(words_at(0), "ONLINE");
  cib.SetStandby("a", true);
  EXPECT_EQ(words_at(100), "ONLINE");
  EXPECT_EQ(words_at(104), "ONLINE");
  EXPECT_EQ(words_at(105), "ONLINE STANDBY");
  cib.SetStandby("a", false);
  EXPECT_EQ(words_at(200), "ONLINE STANDBY") << "the next transition takes its own time";
  state.slow_seconds = 0;
  EXPECT_EQ(words_at(201), "ONLINE") << "a cluster that is slow no more reacts at once";
}

TEST(ConfigurationScript, MakesTheElementsThatQueriesFind) {
  Cib cib;
  RunConfigurationScript(
      "configure\nproperty stonith-enabled=false\nproperty stonith-enabled=true x=\"a b\"\n"
      "rsc_defaults resource-stickiness=100\n"
      "primitive P_ ocf:tavoware:x params a=\"1\"  b=2 op monitor role=\"Master\" interval=\"9s\" "
      "op start timeout=3s  meta m=1\nms P P_ meta master-max=1\n"
      "primitive Q ocf:tavoware:y\norder O mandatory: Q P:promote\n"
      "colocation C INFINITY: P:Master Q\ncommit\nexit\n",
      cib);
  for (const char* xpath :
       {"/cib/configuration/crm_config/cluster_property_set/nvpair[@name='stonith-enabled' and "
        "@value='true']",
        "//nvpair[@id='cib-bootstrap-options-x' and @value='a b']",
        "/cib/configuration/rsc_defaults//nvpair[@name='resource-stickiness' and @value='100']",
        "/cib/configuration/resources/master[@id='P']/primitive[@id='P_' and @class='ocf' and "
        "@provider='tavoware' and @type='x']",
        "//nvpair[@id='P_-instance_attributes-b' and @name='b' and @value='2']",
        "//op[@id='P_-monitor-9s' and @role='Master']",
        "//op[@id='P_-start-0' and @interval='0' and @timeout='3s']",
        "//nvpair[@id='P_-meta_attributes-m']", "//nvpair[@id='P-meta_attributes-master-max']",
        "//rsc_order[@kind='Mandatory']/resource_set[@action='promote']/resource_ref[@id='P']",
        "//rsc_colocation[@score='INFINITY']/resource_set[@role='Master']/resource_ref[@id='P']"}) {
    EXPECT_EQ(cib.Find(xpath).size(), 1U) << xpath;
  }
  EXPECT_EQ(cib.Find("/cib/configuration/resources/*").size(), 2U);
}

TEST(ConfigurationScript, IsRefusedAtTheLineThatIsWrong) {
  struct Case {
    const char *statement, *reason;
  };
  for (const auto& [statement, reason] :
       {Case{"primitive", "ID is missing"},
        {"primitive START ocf:tavoware:x", "id START is in use"},
        {"primitive DRBD ocf:tavoware:x", "id DRBD is in use"},
        {"primitive X Dummy", "no CLASS:PROVIDER:TYPE: Dummy"},
        {"primitive X ocf:tavoware:x size=1", "not understood: size=1"},
        {"primitive X ocf:tavoware:x meta", "NAME=VALUE is missing"},
        {"primitive X ocf:tavoware:x meta =1", "no NAME=VALUE: =1"},
        {"primitive X ocf:tavoware:x op start op start", "operation X-start-0 twice"},
        {"primitive X ocf:tavoware:x meta a=\"1", "quote without an end"},
        {"ms X NOWHERE", "no primitive NOWHERE"},
        {"ms X DRBD_", "no primitive DRBD_"},
        {"clone X START meta a=1 b", "not understood: b"},
        {"order X mandatory: START NOWHERE", "no resource NOWHERE"},
        {"order X optional: START", "order of unknown kind: optional"},
        {"colocation X INFINITY START", "no colon after INFINITY"},
        {"group X START", "not understood: group"},
        {"configure", "not understood: configure"},
        {"commit now", "not understood: now"}}) {
    Cib cib;
    RunConfigurationScript(kScript, cib);
    try {
      RunConfigurationScript(std::string("configure\n") + statement + "\ncommit\n", cib);
      ADD_FAILURE() << "accepted: " << statement;
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), std::string("line 2: ") + reason);
    }
  }
  for (const char* script : {"property a=1\n", "configure\nproperty a=1\n", "exit\nconfigure\n",
                             "configure\nproperty a=1\nexit\n"}) {
    EXPECT_THROW(RunConfigurationScript(script, Cib()), std::runtime_error) << script;
  }
}

}  // namespace
}  // namespace simcluster
