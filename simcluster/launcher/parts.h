// Where the launcher finds what it and the nodes run: in its own directory,
// TREE/libexec/simcluster, be the tree the one of a build or the one that it is installed in.
#ifndef SIMCLUSTER_LAUNCHER_PARTS_H_
#define SIMCLUSTER_LAUNCHER_PARTS_H_

#include <filesystem>
#include <string_view>

namespace simcluster {

// The path of a part. Has to be asked for once before a root is entered, where the launcher's own
// place is not to be learned any more.
std::filesystem::path Part(std::string_view name);

// The tree that the parts belong to.
std::filesystem::path Tree();

// Whether that tree is /usr, which every node has, with each program and library in its place.
bool TreeIsTheMachines();

}  // namespace simcluster

#endif  // SIMCLUSTER_LAUNCHER_PARTS_H_
