// The cluster tools by their command lines, in a private root in which their cluster lives.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "simcluster/cib/cib_file.h"
#include "simcluster/placement/settle.h"
#include "simcluster/tools/tool.h"
#include "tests/support/files.h"

namespace simcluster {
namespace {

using test_support::Exists;
using test_support::ReadFile;
using test_support::WriteFile;
using testing::HasSubstr;

constexpr char kConfiguration[] =
    "configure\nprimitive IP ocf:tavoware:IPaddr2\nprimitive DRBD_ ocf:tavoware:drbd\n"
    "ms DRBD DRBD_ meta clone-max=2\ncommit\nexit\n";

class Tools : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(kSharedDirectory);
    ClusterState::Change(kSharedDirectory, [](ClusterState* state) {
      state->nodes = {{.name = "nas-a", .id = "1"}, {.name = "nas-b", .id = "2"}};
    });
    for (const char* daemon : {"corosync", "pacemaker"}) WritePid(daemon, getpid());
    for (const ClusterTool& tool : kClusterTools) {
      const std::filesystem::path link = std::filesystem::path(tool.directory) / tool.name;
      std::filesystem::create_directories(link.parent_path());
      std::filesystem::remove(link);
      std::filesystem::create_symlink(CLUSTER_TOOL_PROGRAM, link);
    }
    WriteFile("/tmp/configuration", kConfiguration);
  }

  static void WritePid(const std::string& daemon, pid_t id) {
    WriteFile("/usr/tavo/tavoha/var/run/" + daemon + ".pid", std::to_string(id) + "\n");
  }
  // Standard output, with standard error after it.
  static std::string Run(const std::string& command, int* status) {
    FILE* pipe = popen((command + " 2>/tmp/error; s=$?; cat /tmp/error; exit $s").c_str(), "r");
    std::string output;
    for (int c; (c = getc(pipe)) != EOF;) output.push_back(static_cast<char>(c));
    *status = WEXITSTATUS(pclose(pipe));
    return output;
  }
  static void SetCondition(const std::string& host, const std::string& condition) {
    ClusterState::Change(kSharedDirectory,
                         [&](ClusterState* state) { state->Find(host)->condition = condition; });
  }

  struct Step {
    const char* command;
    int status;
    const char* output;
  };
  static void Follow(const std::vector<Step>& steps) {
    for (const auto& [command, expected, output] : steps) {
      int status = 0;
      EXPECT_EQ(Run(command, &status), output) << command;
      EXPECT_EQ(status, expected) << command;
    }
  }
};

TEST_F(Tools, AnswerAndChangeTheClusterThroughALife) {
  Follow({
      {"crm_mon -1 -S", 0, "nas-a: ONLINE\nnas-b: ONLINE\n"},
      {"crm_resource --list-raw", 234, "crm_resource: no resources configured\n"},
      {"crm_resource --resource IP --locate", 234, "crm_resource: no such resource: IP\n"},
      {"crm -f /tmp/configuration", 0, ""},
      {"crm -f /tmp/configuration", 1, "crm: /tmp/configuration: line 2: id IP is in use\n"},
      {"crm -f /tmp/nothing", 1, "crm: cannot read /tmp/nothing\n"},
      {"crm_resource --list-raw", 0, "IP\nDRBD_:0\nDRBD_:1\n"},
      {"crm_resource --resource IP --locate", 0, "resource IP is running on: nas-a \n"},
      {"crm_resource --resource DRBD --locate", 0,
       "resource DRBD is running on: nas-a Master\nresource DRBD is running on: nas-b \n"},
      {"crm_resource --resource DRBD_:1 --locate", 0,
       "resource DRBD_:1 is running on: nas-a Master\nresource DRBD_:1 is running on: nas-b \n"},
      {"crm configure erase", 1, "crm: resource DRBD_ is running on nas-a: nothing was deleted\n"},

      {"crm_resource --resource IP --set-parameter is-managed --meta --parameter-value false", 0,
       ""},
      {"cibadmin -Ql --xpath '//nvpair[@id=\"IP-meta_attributes-is-managed\" and "
       "@name=\"is-managed\" and @value=\"false\"]'",
       0, "<nvpair id=\"IP-meta_attributes-is-managed\" name=\"is-managed\" value=\"false\"/>\n"},
      {"crm_resource --resource IP --delete-parameter is-managed --meta", 0, ""},
      {"crm_resource --resource IP --delete-parameter is-managed --meta", 6,
       "crm_resource: no such parameter of IP: is-managed\n"},
      {"crm_resource --resource NO --set-parameter a --meta --parameter-value b", 6,
       "crm_resource: no such resource: NO\n"},

      {"cibadmin --create -X '<configuration ><constraints ><rsc_location id=\"R\" node=\"nas-a\" "
       "rsc=\"IP\" score=\"-INFINITY\"/></constraints></configuration>'",
       0, ""},
      {"crm_resource --resource IP --locate", 0, "resource IP is running on: nas-b \n"},
      {"cibadmin --create -X '<configuration><constraints><rsc_location id=\"R\" node=\"nas-b\" "
       "rsc=\"IP\" score=\"-INFINITY\"/></constraints></configuration>'",
       76, "cibadmin: create: name not unique on network: R\n"},
      {"cibadmin --query --xpath \"//rsc_location[@id='R' and @node='nas-b']\"", 6,
       "cibadmin: query: no such device or address\n"},
      {"cibadmin --query --local --xpath '//rsc_location[@id=\"R\"]' >/dev/null", 0, ""},
      {"cibadmin --delete --xpath \"//rsc_location[@id='R']\"", 0, ""},
      {"cibadmin --delete --xpath \"//rsc_location[@id='R']\"", 0, ""},
      {"crm configure delete R", 1, "crm: no such constraint: R\n"},

      {"crm node standby nas-a", 0, ""},
      {"crm node standby nas-c", 1, "crm: no such node: nas-c\n"},
      {"crm_mon -1 -S", 0, "nas-a: ONLINE STANDBY\nnas-b: ONLINE\n"},
      {"crm node standby nas-b", 0, ""},
      {"crm_resource --resource IP --locate", 0, "resource IP is NOT running\n"},
      {"crm configure erase", 0, ""},
      {"crm_resource --list-raw", 234, "crm_resource: no resources configured\n"},
      {"crm_mon -1 -S", 0, "nas-a: ONLINE STANDBY\nnas-b: ONLINE STANDBY\n"},
      {"cibadmin --erase --force", 0, ""},
      {"crm_mon -1 -S", 0, "nas-a: ONLINE\nnas-b: ONLINE\n"},
      {"crm -F node clearstate nas-a", 0, ""},
      {"cibadmin --modify --xml-text '<cib admin_epoch=\"admin_epoch++\"/>'", 0, ""},
  });
  EXPECT_EQ(ReadCib(kSharedDirectory).root().Get("admin_epoch"), "1");
}

TEST_F(Tools, RemoveANodeOnlyAfterItLeft) {
  Follow({
      {"crm_node --list", 0, "1 nas-a member\n2 nas-b member\n"},
      {"crm node delete nas-b", 1, "crm: node nas-b is not offline\n"},
      {"crm_node -R 2 --force", 1, "crm_node: nas-b is a member\n"},
      {"crm_node --node nas-b --mesg 'UNBIND  now'", 0, ""},
  });
  // As the node's agent does then.
  ClusterState::Change(kSharedDirectory, [](ClusterState* state) {
    state->Find("nas-b")->condition = "offline";
    state->Find("nas-b")->leaving = true;
  });
  Follow({
      {"crm_mon -1 -S", 0, "nas-a: ONLINE\nnas-b: OFFLINE\n"},
      {"crm_node --list", 0, "1 nas-a member\n2 nas-b member\n"},
      {"crm_node --list", 0, "1 nas-a member\n2 nas-b lost\n"},
      {"crm_node --node nas-b --mesg more", 1, "crm_node: no such member: nas-b\n"},
      {"crm -F node fence nas-b", 0, ""},
      {"crm node delete nas-b", 0, ""},
      {"crm_node -R 2 --force", 0, ""},
      {"crm_node -R 2 --force", 6, "crm_node: no such member: 2\n"},
      {"crm_node --list", 0, "1 nas-a member\n"},
      {"cibadmin --delete --obj_type nodes --crm_xml '<node uname=\"nas-b\"/>'", 0, ""},
      {"cibadmin --delete --obj_type status --crm_xml '<node_state uname=\"nas-b\"/>'", 0, ""},
      {"corosync-objctl -d runtime.totem.pg.mrp.srp.members.nas-b", 0, ""},
      {"corosync-objctl -d runtime.totem.pg.mrp.srp.members.nas-b", 1,
       "corosync-objctl: no such object: runtime.totem.pg.mrp.srp.members.nas-b\n"},
      {"crm_mon -1 -S", 0, "nas-a: ONLINE\n"},
      {"cibadmin --delete --obj_type nodes --crm_xml '<node uname=\"nas-a\"/>'", 0, ""},
      {"crm_mon -1 -S", 0, "nas-a: ONLINE\n"},  // a live node makes itself known again
  });
  SetCondition("nas-b", "unclean");
  Follow({{"crm_mon -1 -S", 0, "nas-a: ONLINE\n"}});
}

TEST_F(Tools, RefuseWhatTheyDoNotKnow) {
  int status = 0;
  for (const char* command :
       {"crm_mon", "crm_mon -1", "crm_mon -1 -S -V", "cibadmin", "cibadmin -Q --xpath //node",
        "cibadmin --query", "cibadmin --replace --xpath //node", "crm", "crm node",
        "crm node maintenance nas-a", "crm node standby", "crm configure show",
        "crm_resource --resource IP", "crm_resource --list", "crm_node -l",
        "crm_node --node nas-b --mesg", "corosync-objctl -a key", "rc.ha", "IPaddr2 monitor"}) {
    const std::string name = std::string(command).substr(0, std::string(command).find(' '));
    const std::string path =
        "PATH=$PATH:/usr/tavo/tavoha/etc.defaults:/usr/tavo/tavoha/lib/ocf/resource.d/tavoware ";
    EXPECT_EQ(Run(path + command, &status), name + ": arguments not understood\n");
    EXPECT_EQ(status, 64) << command;
  }
  for (const char* command :
       {"cibadmin --query --xpath '//node['", "cibadmin --create -X '<configuration'",
        "cibadmin --create -X '<configuration><resources/></configuration>'",
        "cibadmin --create -X '<configuration><constraints><x/></constraints></configuration>'",
        "cibadmin --delete --xpath /cib", "cibadmin --modify --xml-text '<cib epoch=\"7\"/>'"}) {
    EXPECT_THAT(Run(command, &status), HasSubstr("cibadmin: ")) << command;
    EXPECT_EQ(status, 22) << command;
  }
}

TEST_F(Tools, NeedTheNodesStack) {
  for (const char* daemon : {"corosync", "pacemaker"}) {
    WritePid(daemon, 0x3fffff);  // above every process
    for (const char* command : {"crm_mon -1 -S", "crm node online nas-a", "crm_node --list",
                                "cibadmin --erase --force", "crm_resource --list-raw"}) {
      int status = 0;
      EXPECT_THAT(Run(command, &status), HasSubstr(": connection to the cluster failed\n"));
      EXPECT_EQ(status, 107) << command;
    }
    WritePid(daemon, getpid());
  }
}

TEST_F(Tools, CarryMessagesByteForByte) {
  const std::string text(1023, '\xfe');
  int status = 0;
  Run("crm_node --node nas-b --mesg $(printf '\\376%.0s' $(seq 1023))", &status);
  EXPECT_EQ(ReadFile("/run/simcluster/messages/nas-b/000001"), text);
  const std::string content("LOGREQ  \nkey=\"v\0\n", 17);
  WriteFile("/tmp/request", content);
  Run("crm_node --node nas-b --mesg -fIlE-:/tmp/request", &status);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(ReadFile("/run/simcluster/messages/nas-b/000002"), "-fIlE-:/tmp/request");
  EXPECT_EQ(ReadFile("/run/simcluster/messages/nas-b/000002.file"), content);
  EXPECT_THAT(Run("crm_node --node nas-b --mesg -fIlE-:/tmp/nothing", &status),
              HasSubstr("cannot read /tmp/nothing"));
  EXPECT_EQ(status, 1);
  EXPECT_FALSE(Exists("/run/simcluster/messages/nas-b/000003"));
}

TEST_F(Tools, CountChangesOfTheBaseAndKeepItWhole) {
  int status = 0;
  Run("crm_mon -1 -S", &status);
  const auto epochs = [] {
    const Cib cib = ReadCib(kSharedDirectory);
    return cib.root().Get("epoch") + "." + cib.root().Get("num_updates");
  };
  EXPECT_EQ(epochs(), "1.0");
  SetCondition("nas-b", "lost");
  Run("crm_mon -1 -S", &status);
  Run("crm_mon -1 -S", &status);
  EXPECT_EQ(epochs(), "1.1") << "a change of the status alone, once";
  Run("for i in $(seq 8); do crm node standby nas-a & crm node online nas-a & done; wait", &status);
  Run("crm node standby nas-a; crm node standby nas-a", &status);
  EXPECT_THROW(ChangeCib(kSharedDirectory,
                         [](Cib* cib) {
                           cib->configuration().RemoveChildren();
                           throw std::runtime_error("no");
                         }),
               std::runtime_error);
  EXPECT_TRUE(ReadCib(kSharedDirectory).IsStandby("nas-a"));
  EXPECT_FALSE(Exists("/run/simcluster/cib.xml.new"));
}

}  // namespace
}  // namespace simcluster
