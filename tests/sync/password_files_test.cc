#include <tavohacore/sync.h>

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

  // 10: nobody listens yet; 5: refused.
  const ShellResult fetched = Shell(
      "rsync --daemon --no-detach --address=127.0.0.1 --port=8730 --config=/tmp/rsyncd.conf &\n"
      "fetch() { rsync --password-file=$1 rsync://root@127.0.0.1:8730/files/one /tmp 2>&-; }\n"
      "right=" +
      kClientFile +
      "\nfor i in $(seq 100); do fetch $right; [ $? = 10 ] || break; sleep 0.02; done\n"
      "fetch $right; echo $?; fetch /tmp/other.pw; echo $?; kill $!");
  EXPECT_EQ(fetched.output, "0\n5\n") << ReadFile("/tmp/rsyncd.log");
  EXPECT_EQ(ReadFile("/tmp/one"), "content");
}

}  // namespace
