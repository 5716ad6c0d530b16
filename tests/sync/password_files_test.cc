#include <tavohacore/sync.h>

#include <cstdlib>

#include "simcluster/root/private_root.h"
#include "tests/support/test.h"

namespace {

using namespace test_support;

const std::string kDirectory = "/usr/tavo/tavoha/etc/confsync";
const std::string kClientFile = kDirectory + "/rsync.pw";
const std::string kSecretsFile = kDirectory + "/rsyncd.secrets";

TEST(PasswordFiles, HoldTheNumberAloneAndNothingOlder) {
  EXPECT_EQ(HASystemSyncGenPWFile(1), -1) << "without the directory";
  EXPECT_FALSE(Exists(kDirectory));
  std::filesystem::create_directories(kDirectory);
  for (const unsigned password : {4294967295U, 0U, 12345U}) {
    EXPECT_EQ(HASystemSyncGenPWFile(password), 0);
    EXPECT_EQ(ReadFile(kClientFile), std::to_string(password));
    EXPECT_EQ(ReadFile(kSecretsFile), "root:" + std::to_string(password));
  }
  for (const std::string& path : {kClientFile, kSecretsFile}) {
    struct stat file {};
    stat(path.c_str(), &file);
    EXPECT_EQ(file.st_mode & 07777, 0600u) << path;
    unlink(path.c_str());
    EXPECT_EQ(symlink("/dev/full", path.c_str()), 0);
    EXPECT_EQ(HASystemSyncGenPWFile(7), -1) << "a write that fails, of " << path;
    unlink(path.c_str());
  }
}

TEST(PasswordFiles, OpenTheDoorOfARealRsyncDaemonToTheRightNumberAlone) {
  ASSERT_EQ(simcluster::EnterOwnNetwork(), "");
  WriteFile("/srv/files/one", "content");
  WriteFile("/tmp/rsyncd.conf",
            "use chroot = no\nuid = 0\ngid = 0\nlog file = /tmp/rsyncd.log\n[files]\n"
            "path = /srv/files\nauth users = root\nsecrets file = " +
                kSecretsFile + "\n");
  std::filesystem::create_directories(kDirectory);
  ASSERT_EQ(HASystemSyncGenPWFile(2718281828U), 0);
  std::filesystem::copy_file(kClientFile, "/tmp/other.pw");
  ASSERT_EQ(HASystemSyncGenPWFile(314159), 0);

  const pid_t daemon = fork();
  if (daemon == 0) {
    execl("/usr/bin/rsync", "rsync", "--daemon", "--no-detach", "--address=127.0.0.1",
          "--port=8730", "--config=/tmp/rsyncd.conf", nullptr);
    _exit(127);
  }
  const auto fetch = [](const std::string& password_file) {
    return Shell("exec rsync --password-file=" + password_file +
                 " rsync://root@127.0.0.1:8730/files/one /tmp/")
        .status;
  };
  constexpr int kNobodyListens = 10, kRefused = 5;
  int fetched = kNobodyListens;
  for (int i = 0; i < 100 && fetched == kNobodyListens; ++i, usleep(20000)) {
    fetched = fetch(kClientFile);
  }
  EXPECT_EQ(fetched, 0) << ReadFile("/tmp/rsyncd.log");
  EXPECT_EQ(ReadFile("/tmp/one"), "content");
  EXPECT_EQ(fetch("/tmp/other.pw"), kRefused);
  kill(daemon, SIGKILL);
  waitpid(daemon, nullptr, 0);
}

}  // namespace
