#include "simcluster/cib/cib_file.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "simcluster/root/descriptor.h"
#include "simcluster/root/system_failure.h"

namespace simcluster {
namespace {

std::string CibPath(const std::string& directory) { return directory + "/cib.xml"; }

void Write(const std::string& directory, const Cib& cib) {
  const std::string path = CibPath(directory), whole = path + ".new";
  std::ofstream file(whole, std::ios::trunc);
  file << cib.root().Text(true);
  file.close();
  if (!file || rename(whole.c_str(), path.c_str()) != 0) Throw("cannot write " + path);
}

// Counts an attribute of the base up.
void Raise(const Element& root, const char* attribute) {
  root.Set(attribute, std::to_string(strtoul(root.Get(attribute).c_str(), nullptr, 10) + 1));
}

}  // namespace

Cib ReadCib(const std::string& directory) {
  std::ifstream file(CibPath(directory));
  if (!file) return Cib();
  std::ostringstream text;
  text << file.rdbuf();
  return Cib(text.str());
}

void ChangeCib(const std::string& directory, const std::function<void(Cib*)>& change) {
  const std::string path = directory + "/cib.lock";
  const Descriptor lock(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!lock || flock(lock.get(), LOCK_EX) != 0) Throw("cannot lock " + path);
  Cib cib = ReadCib(directory);
  const std::string before = cib.root().Text();
  const std::string configuration = cib.configuration().Text();
  change(&cib);
  if (cib.root().Text() == before) return;
  if (cib.configuration().Text() != configuration) {
    Raise(cib.root(), "epoch");
    cib.root().Set("num_updates", "0");
  } else {
    Raise(cib.root(), "num_updates");
  }
  Write(directory, cib);
}

}  // namespace simcluster
