// The messages between the nodes: each a file in the directory messages/HOST of the shared one,
// named by its number ("000001"), byte for byte. One that points to a file of the sender
// ("-fIlE-:PATH") has that file's content beside it ("000001.file").
#ifndef SIMCLUSTER_TOOLS_MESSAGES_H_
#define SIMCLUSTER_TOOLS_MESSAGES_H_

#include <string>

namespace simcluster {

// The directory of a node's messages.
std::string SpoolPath(const std::string& directory, const std::string& host);

// Puts a message into the spool of a node. One that tells it to unbind makes it leave the cluster.
// Throws std::runtime_error.
void Deliver(const std::string& host, const std::string& message);

}  // namespace simcluster

#endif  // SIMCLUSTER_TOOLS_MESSAGES_H_
