// The cluster information base as both nodes share it: the file cib.xml in the directory that every
// node sees.
#ifndef SIMCLUSTER_CIB_CIB_FILE_H_
#define SIMCLUSTER_CIB_CIB_FILE_H_

#include <functional>
#include <string>

#include "simcluster/cib/cib.h"

namespace simcluster {

// Both throw std::runtime_error, with a message for the user.
Cib ReadCib(const std::string& directory);

// Has `change` work on the base. Changes follow one another, also those of other processes; a
// reader sees the base before one or after it. When `change` throws, nothing is changed. What was
// changed raises the base's epoch, or in <status> alone its num_updates.
void ChangeCib(const std::string& directory, const std::function<void(Cib*)>& change);

}  // namespace simcluster

#endif  // SIMCLUSTER_CIB_CIB_FILE_H_
