// The floors: the system calls that the operations cannot do without, written straight down.
#ifndef BENCH_BARE_H_
#define BENCH_BARE_H_

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace bench {

// Opens the file, reads it into the buffer, closes it. Returns the number of bytes read.
inline size_t ReadFile(const char* path, char* buffer, size_t size) {
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  size_t length = 0;
  for (ssize_t count; (count = read(file, buffer + length, size - length)) > 0;) {
    length += static_cast<size_t>(count);
  }
  close(file);
  return length;
}

// Replaces the file by what the buffer holds, so that a crash leaves the old or the new.
inline void ReplaceFile(const char* directory, const char* path, const char* buffer, size_t size) {
  const std::string temporary = std::string(path) + ".bare";
  const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (write(file, buffer, size) != static_cast<ssize_t>(size)) perror(path);
  fsync(file);
  close(file);
  rename(temporary.c_str(), path);
  const int parent = open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  fsync(parent);
  close(parent);
}

// Runs the program and reads its output to the end.
inline void RunTool(const char* const argv[]) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) perror("pipe2");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  pid_t pid = 0;
  if (posix_spawn(&pid, argv[0], &actions, nullptr, const_cast<char* const*>(argv), environ) != 0) {
    perror(argv[0]);
    _exit(2);
  }
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  char buffer[4096];
  while (read(ends[0], buffer, sizeof buffer) > 0) {
  }
  close(ends[0]);
  waitpid(pid, nullptr, 0);
}

}  // namespace bench

#endif  // BENCH_BARE_H_
