#include "simcluster/root/private_root.h"

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

#include "simcluster/root/descriptor.h"

namespace simcluster {
namespace {

namespace fs = std::filesystem;

// While the root is being built: the machine's tree, and what the overlays write to.
constexpr char kMachine[] = "/.machine";
constexpr char kLayers[] = "/.layers";

constexpr const char* kOverlaid[] = {"usr", "etc", "var", "bin", "sbin", "root"};
constexpr const char* kDevices[] = {"null", "zero", "full", "random", "urandom", "tty", "net/tun"};
constexpr const char* kApplianceDirectories[] = {
    "/etc.defaults",
    "/usr/tavo/tavoha/etc",
    "/usr/tavo/tavoha/etc.defaults",
    "/usr/tavo/tavoha/var/run",
    "/var/lib/ha",
    "/run/lock",
};
// What of those the machine must not shine through, should it be an appliance itself.
constexpr const char* kApplianceTrees[] = {"/usr/tavo", "/var/lib/ha"};

constexpr int kSkeletonDepth = 2;

Error Failure(const std::string& what, int error) {
  return "private root: cannot " + what + ": " + strerror(error);
}

Error WriteWhole(const char* path, const std::string& text) {
  const Descriptor file(open(path, O_WRONLY | O_CLOEXEC));
  if (file && write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size())) {
    return {};
  }
  return Failure(std::string("write ") + path, errno);
}

// Whether only some of the machine's users exist for this process. It then cannot change what
// belongs to the others, nor copy it to its own layer.
bool InUserNamespace() {
  std::ifstream map("/proc/self/uid_map");
  unsigned inside = 0, outside = 0, count = 0;
  map >> inside >> outside >> count;
  return !(inside == 0 && outside == 0 && count == ~0U);
}

// Builds the root. Each step returns whether it succeeded, and leaves in error_ why it did not.
class Builder {
 public:
  explicit Builder(const PrivateRoot& root) : root_(root), in_user_namespace_(InUserNamespace()) {}

  bool Build() {
    std::error_code none;
    const fs::path working_directory = fs::current_path(none);
    if (!StandOnEmptyRoot() || !FillFromMachine() || !MakeProc() || !MakeDev() || !MakeOwn() ||
        !ShowVisible() || !MakeAppliance() || !LetGoOfMachine()) {
      return false;
    }
    if (sethostname(root_.host_name.data(), root_.host_name.size()) != 0) {
      return Fail("set the host name " + root_.host_name);
    }
    if (working_directory.empty() || chdir(working_directory.c_str()) != 0) {
      return chdir("/") == 0 || Fail("enter /");
    }
    return true;
  }

  const Error& error() const { return error_; }

 private:
  bool Fail(const std::string& what) {
    error_ = Failure(what, errno);
    return false;
  }

  static std::string OnMachine(const std::string& path) { return kMachine + path; }

  bool Mount(const char* source, const std::string& target, const char* type, unsigned long flags,
             const char* options) {
    return mount(source, target.c_str(), type, flags, options) == 0;
  }

  bool MakeDirectories(const std::string& path) {
    std::error_code error;
    fs::create_directories(path, error);
    if (!error) return true;
    errno = error.value();
    return Fail("create " + path);
  }

  // An empty file system becomes the root, with the machine's whole tree below kMachine.
  bool StandOnEmptyRoot() {
    // Nothing that is mounted from here on may spread to the machine.
    if (!Mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr)) {
      return Fail("make the mounts private");
    }
    // Any directory serves: this mount turns into the root at once.
    if (!Mount("private-root", "/tmp", "tmpfs", MS_NOSUID, "mode=0755")) {
      return Fail("mount a tmpfs");
    }
    const std::string machine = std::string("/tmp") + kMachine;
    if (mkdir(machine.c_str(), 0755) != 0) return Fail("create " + machine);
    if (syscall(SYS_pivot_root, "/tmp", machine.c_str()) != 0 || chdir("/") != 0) {
      return Fail("change the root directory");
    }
    if (mkdir(kLayers, 0755) != 0 || !Mount("layers", kLayers, "tmpfs", MS_NOSUID, "mode=0755")) {
      return Fail("mount a tmpfs");
    }
    return true;
  }

  bool FillFromMachine() {
    constexpr std::array own = {"proc", "dev", "tmp", "run", "etc.defaults", "lost+found"};
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(kMachine, error)) {
      const std::string name = entry.path().filename();
      if (std::ranges::find(own, name) != own.end()) continue;
      const std::string path = "/" + name;
      if (entry.is_directory(error) && !entry.is_symlink(error) && IsOverlaid(name)) {
        if (!Overlay(path) && !Compose(path)) return false;
      } else if (!Show(path)) {
        return false;
      }
    }
    if (!error) return true;
    errno = error.value();
    return Fail("read the machine's root directory");
  }

  static bool IsOverlaid(std::string_view name) {
    return name.starts_with("lib") || std::ranges::find(kOverlaid, name) != std::end(kOverlaid);
  }

  // Shows what the machine has at `path`: a link as the same link, all else as it is.
  bool Show(const std::string& path, bool read_only = false) {
    std::error_code error;
    const std::string source = OnMachine(path);
    const fs::file_status status = fs::symlink_status(source, error);
    if (fs::is_symlink(status)) {
      fs::copy_symlink(source, path, error);
      return !error || Fail("create the link " + path);
    }
    if (fs::is_directory(status)) {
      if (!MakeDirectories(path)) return false;
    } else {
      const Descriptor place(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
      if (!place) return Fail("create " + path);
    }
    // What cannot be shown (an automounter's directory, say) stays empty: nothing in the root
    // depends on it, or else it is among the visible directories, which are checked.
    if (Mount(source.c_str(), path, nullptr, MS_BIND | MS_REC, nullptr) && read_only) {
      mount_attr attributes{};
      attributes.attr_set = MOUNT_ATTR_RDONLY;
      if (mount_setattr(AT_FDCWD, path.c_str(), AT_RECURSIVE, &attributes, sizeof attributes) !=
          0) {
        return Fail("make " + path + " read-only");
      }
    }
    return true;
  }

  // Lays an empty layer over the machine's directory: it can be written, the machine's is not.
  bool Overlay(const std::string& path) {
    const std::string layer = kLayers + std::string("/") + std::to_string(layers_++);
    const std::string lower = OnMachine(path), upper = layer + "/upper", work = layer + "/work";
    if (!MakeDirectories(upper) || !MakeDirectories(work) || !MakeDirectories(path)) return false;
    if (access(lower.c_str(), R_OK | X_OK) != 0) return true;  // not ours to see: an empty one
    if (in_user_namespace_) CopySkeleton(lower, upper, kSkeletonDepth);
    std::string options = "lowerdir=" + lower + ",upperdir=" + upper + ",workdir=" + work;
    if (in_user_namespace_) options += ",userxattr";
    return Mount("overlay", path, "overlay", 0, options.c_str()) || Fail("mount an overlay");
  }

  // Directories of our own under the machine's: a user who may not write into /usr/bin of the
  // machine still may into the merged one, because that takes its owner from the upper layer.
  static void CopySkeleton(const fs::path& lower, const fs::path& upper, int depth) {
    std::error_code error;
    fs::permissions(upper, fs::status(lower, error).permissions() | fs::perms::owner_all, error);
    if (depth == 0) return;
    for (const fs::directory_entry& entry : fs::directory_iterator(lower, error)) {
      if (entry.is_symlink(error) || !entry.is_directory(error)) continue;
      const fs::path copy = upper / entry.path().filename();
      if (fs::create_directory(copy, error)) CopySkeleton(entry.path(), copy, depth - 1);
    }
  }

  // Where a directory cannot be overlaid as a whole (a user namespace may not look behind what is
  // mounted somewhere below it), it is put together from its entries: directories overlaid, files
  // as they are on the machine, but not to be written.
  bool Compose(const std::string& path) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(OnMachine(path), error)) {
      const std::string below = path + "/" + entry.path().filename().string();
      const bool is_directory = entry.is_directory(error) && !entry.is_symlink(error);
      if (is_directory && Overlay(below)) continue;
      if (!Show(below, true)) return false;
    }
    return true;
  }

  bool MakeProc() {
    if (!root_.own_processes) return Show("/proc");
    if (!MakeDirectories("/proc")) return false;
    return Mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) ||
           Fail("mount a /proc of its own (in a container: only a privileged one allows it)");
  }

  // A /dev with the usual devices and nothing of the machine's services: /dev/log is free, and no
  // message falls through to the machine's console.
  bool MakeDev() {
    if (!MakeDirectories("/dev/pts") || !MakeDirectories("/dev/shm") ||
        !MakeDirectories("/dev/net") || chmod("/dev/shm", 01777) != 0) {
      return Fail("create /dev");
    }
    for (const char* name : kDevices) {
      const std::string path = std::string("/dev/") + name;
      if (access(OnMachine(path).c_str(), F_OK) == 0 && !Show(path)) return false;
    }
    if (!Mount("devpts", "/dev/pts", "devpts", MS_NOSUID | MS_NOEXEC,
               "newinstance,ptmxmode=0666,mode=0620")) {
      return Fail("mount /dev/pts");
    }
    constexpr const char* links[][2] = {{"pts/ptmx", "/dev/ptmx"},
                                        {"/proc/self/fd", "/dev/fd"},
                                        {"/proc/self/fd/0", "/dev/stdin"},
                                        {"/proc/self/fd/1", "/dev/stdout"},
                                        {"/proc/self/fd/2", "/dev/stderr"}};
    for (const auto& [target, link] : links) {
      if (symlink(target, link) != 0) return Fail(std::string("create the link ") + link);
    }
    return true;
  }

  bool MakeOwn() {
    return MakeDirectories("/run") && MakeDirectories("/tmp") &&
           (chmod("/tmp", 01777) == 0 || Fail("set the permissions of /tmp"));
  }

  bool ShowVisible() {
    for (const std::string& path : root_.visible) {
      if (!ShowAt(path, path)) return false;
    }
    for (const auto& [path, source] : root_.visible_at) {
      if (!ShowAt(path, source)) return false;
    }
    return true;
  }

  bool ShowAt(const std::string& path, const std::string& machine_path) {
    const std::string source = OnMachine(machine_path);
    struct stat wanted {
    }, there{};
    if (stat(source.c_str(), &wanted) != 0) return Fail("find " + machine_path);
    const bool shows = stat(path.c_str(), &there) == 0 && there.st_dev == wanted.st_dev &&
                       there.st_ino == wanted.st_ino;
    if (shows) return true;
    if (!MakeDirectories(path)) return false;
    return Mount(source.c_str(), path, nullptr, MS_BIND | MS_REC, nullptr) || Fail("show " + path);
  }

  bool MakeAppliance() {
    std::error_code error;
    for (const char* tree : kApplianceTrees) fs::remove_all(tree, error);
    return std::ranges::all_of(kApplianceDirectories,
                               [this](const char* path) { return MakeDirectories(path); });
  }

  // The overlays keep what they need of both trees; nobody else is to see them.
  bool LetGoOfMachine() {
    for (const char* tree : {kLayers, kMachine}) {
      if (umount2(tree, MNT_DETACH) != 0 || rmdir(tree) != 0) {
        return Fail(std::string("detach ") + tree);
      }
    }
    return true;
  }

  const PrivateRoot& root_;
  const bool in_user_namespace_;
  int layers_ = 0;
  Error error_;
};

}  // namespace

Error LeaveMachine(int more) {
  const int namespaces = CLONE_NEWNS | CLONE_NEWUTS | more;
  if (unshare(namespaces) == 0) return {};
  if (errno != EPERM) return Failure("get namespaces", errno);

  const std::string user = std::to_string(geteuid()), group = std::to_string(getegid());
  if (unshare(namespaces | CLONE_NEWUSER) != 0) {
    return Failure("get namespaces", errno) +
           ". Run it as root, or let users have namespaces (sysctls user.max_user_namespaces, "
           "kernel.unprivileged_userns_clone, kernel.apparmor_restrict_unprivileged_userns; in a "
           "container, its seccomp profile)";
  }
  // Only with setgroups given up may an ordinary user map its group.
  if (Error error = WriteWhole("/proc/self/setgroups", "deny"); !error.empty()) return error;
  if (Error error = WriteWhole("/proc/self/uid_map", "0 " + user + " 1"); !error.empty()) {
    return error;
  }
  return WriteWhole("/proc/self/gid_map", "0 " + group + " 1");
}

Error BuildRoot(const PrivateRoot& root) {
  const mode_t mask = umask(022);
  Builder builder(root);
  const bool built = builder.Build();
  umask(mask);
  return built ? Error() : builder.error();
}

Error EnterPrivateRoot(const PrivateRoot& root) {
  if (Error error = LeaveMachine(); !error.empty()) return error;
  return BuildRoot(root);
}

Error EnterOwnNetwork() {
  if (unshare(CLONE_NEWNET) != 0) return Failure("get a network of its own", errno);
  const Descriptor socket_fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  strcpy(request.ifr_name, "lo");
  request.ifr_flags = IFF_UP | IFF_RUNNING;
  if (!socket_fd || ioctl(socket_fd.get(), SIOCSIFFLAGS, &request) != 0) {
    return Failure("bring up the loopback interface", errno);
  }
  return {};
}

}  // namespace simcluster
