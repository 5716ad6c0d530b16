#include "tests/support/files.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace test_support {

namespace fs = std::filesystem;

void WriteFile(const std::string& path, std::string_view content) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  EXPECT_TRUE(file) << "cannot write " << path << ": " << strerror(errno);
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  if (file) content << file.rdbuf();
  if (!file.is_open() || content.bad()) return "(cannot be read: " + path + ")";
  return content.str();
}

bool Exists(const std::string& path) {
  std::error_code ignored;
  return fs::exists(fs::symlink_status(path, ignored));
}

std::vector<std::string> ListDirectory(const std::string& path) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(path)) names.push_back(entry.path().filename());
  std::ranges::sort(names);
  return names;
}

void SetRunning(bool running) {
  unlink(running ? "/tmp/.ha.not.running" : "/tmp/.ha.running");
  WriteFile(running ? "/tmp/.ha.running" : "/tmp/.ha.not.running", "");
}

void SetConf(std::string_view lines) {
  WriteFile(kConfFile, lines);
  unlink(kMirrorFile);
}

void StartHa() {
  SetRunning(true);
  SetConf("host0=\"nas-a\"\nhost1=\"nas-b\"\n");
  for (const char* daemon : {"corosync.pid", "pacemaker.pid"}) {
    WriteFile(std::string(kDaemonFiles) + daemon, std::to_string(getpid()));
  }
}

void CoverProcFile(const std::string& name, const std::string& content) {
  const std::string file = "/run/" + name, path = "/proc/" + std::to_string(getpid()) + "/" + name;
  WriteFile(file, content);
  ASSERT_EQ(mount(file.c_str(), path.c_str(), nullptr, MS_BIND, nullptr), 0) << strerror(errno);
}

ShellResult Shell(const std::string& command) {
  FILE* pipe = popen(("exec 2>&1; " + command).c_str(), "r");
  std::string output;
  for (int c; (c = getc(pipe)) != EOF;) output.push_back(static_cast<char>(c));
  const int status = pclose(pipe);
  return {output, WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

}  // namespace test_support
