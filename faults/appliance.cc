#include "faults/appliance.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "faults/operations.h"
#include "simcluster/network/interface.h"
#include "simcluster/root/private_root.h"
#include "tests/support/files.h"
#include "tests/support/scripted_tool.h"

namespace faults {
namespace {

void Require(const simcluster::Error& error) {
  if (error.empty()) return;
  fprintf(stderr, "%s\n", error.c_str());
  exit(2);
}

// The daemon's side of the channel: each command gets the same reply.
void ServeChannel() {
  for (const char* fifo : {"/tmp/ha.lsyncd.fifoCmd", "/tmp/ha.lsyncd.fifoData"}) mkfifo(fifo, 0600);
  const int commands = open("/tmp/ha.lsyncd.fifoCmd", O_RDWR | O_CLOEXEC);
  const int data = open("/tmp/ha.lsyncd.fifoData", O_RDWR | O_CLOEXEC);
  test_support::WriteFile("/run/ha/lsyncd.pid", std::to_string(getpid()));
  std::thread([commands, data] {
    constexpr std::string_view kReply = "3\nsynced:true\nbusy:false\nerror desc:none\n";
    for (char command; read(commands, &command, 1) == 1;) {
      if (command == LSYNCD_CMD_CHECK_CONSISTENCY) continue;
      if (write(data, kReply.data(), kReply.size()) < 0) return;
    }
  }).detach();
}

void ServeLog() {
  const int log = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
  if (bind(log, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    Require("cannot bind /dev/log");
  }
  std::thread([log] {
    for (char line[4096]; recv(log, line, sizeof line, 0) > 0;) {
    }
  }).detach();
}

}  // namespace

void EnterAppliance() {
  Require(simcluster::LeaveMachine(CLONE_NEWPID | CLONE_NEWNET));
  if (const pid_t child = fork(); child != 0) {
    int status = 0;
    waitpid(child, &status, 0);
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 2);
  }
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  Require(simcluster::BuildRoot({.host_name = "nas-a",
                                 .visible = {SOURCE_DIRECTORY, BUILD_DIRECTORY},
                                 .own_processes = true}));
  Require(simcluster::AddInterface("ovs_eth0"));
  Require(simcluster::SetAddress("ovs_eth0:HA", "10.0.0.3", "255.255.0.0"));
  for (const std::string& tool : Tools()) test_support::ScriptedTool{tool};
  std::filesystem::copy_file(FULL_LIBRARY, "/lib/libtavoha.so");
  using test_support::WriteFile;
  WriteFile("/etc.defaults/tavoinfo.conf", "support_ha=\"yes\"\nupnpmodelname=\"M0\"\n");
  WriteFile("/etc/tavoinfo.conf", "runha=\"yes\"\n");
  for (const char* daemon : {"corosync", "pacemaker"}) {
    WriteFile(std::string("/usr/tavo/tavoha/var/run/") + daemon + ".pid", std::to_string(getpid()));
  }
  for (const char* directory : {"/tmp/ha", "/usr/tavo/tavoha/etc/confsync"}) {
    std::filesystem::create_directory(directory);
  }
  ServeChannel();
  ServeLog();
}

}  // namespace faults
