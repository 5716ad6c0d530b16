// Files of the private root, those of an appliance among them, and shell commands, in one line
// each.
#ifndef TESTS_SUPPORT_FILES_H_
#define TESTS_SUPPORT_FILES_H_

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

// Writes the file, after creating the directories on its way. The test fails when it cannot.
void WriteFile(const std::string& path, std::string_view content);
// Returns what the file holds, or "(cannot be read: PATH)", which no expectation equals.
std::string ReadFile(const std::string& path);
// Whether there is something at the path, be it a link that leads nowhere.
bool Exists(const std::string& path);
// The names in a directory, sorted. Throws when there is none.
std::vector<std::string> ListDirectory(const std::string& path);

inline constexpr char kConfFile[] = "/usr/tavo/tavoha/etc/ha.conf";
inline constexpr char kMirrorFile[] = "/tmp/.ha.conf";
inline constexpr char kDaemonFiles[] = "/usr/tavo/tavoha/var/run/";  // corosync.pid, pacemaker.pid

// Lets HA run on this node, or not.
void SetRunning(bool running);
// Makes `lines` the configuration, with nothing mirrored yet.
void SetConf(std::string_view lines);
// Makes this node nas-a, host0, on which HA and both cluster daemons run; its peer is nas-b.
void StartHa();
// Puts a plain file over one of this process's files in /proc, which the kernel may refuse to let
// anybody write.
void CoverProcFile(const std::string& name, const std::string& content);

struct ShellResult {
  std::string output;  // standard error included
  int status;          // exit status, or -1 when it did not exit

  bool operator==(const ShellResult&) const = default;
};
inline void PrintTo(const ShellResult& result, std::ostream* out) {
  *out << result.output << "with status " << result.status;
}
ShellResult Shell(const std::string& command);

}  // namespace test_support

#endif  // TESTS_SUPPORT_FILES_H_
