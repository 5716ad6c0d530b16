// The messages between the nodes. Those to HOST lie in the shared directory's messages/HOST, each
// in a file that is named by its number ("000001"), byte for byte. One that points to a file of the
// sender ("-fIlE-:PATH") has that file's content beside it ("000001.file").
#ifndef SIMCLUSTER_MESSAGES_MESSAGES_H_
#define SIMCLUSTER_MESSAGES_MESSAGES_H_

#include <functional>
#include <string>

#include "simcluster/root/descriptor.h"

namespace simcluster {

// The directory of a node's messages.
std::string SpoolPath(const std::string& directory, const std::string& host);

// All throw std::runtime_error.

// Puts a message among those to a node.
void Deliver(const std::string& host, const std::string& message);

// Waits until the node's handler is done with every message that is there; not when none lives, and
// never longer than two seconds.
void WaitUntilHandled(const std::string& host);

// A node's message handler, of which there is one.
class MessageHandler {
 public:
  // The message, or what stands in the file that it points to.
  using Handle = std::function<void(const std::string& content)>;

  MessageHandler(const std::string& host, Handle handle);
  // Handles the messages that have come and were not handled.
  void HandleNew();

 private:
  const std::string spool_;
  const Handle handle_;
  Descriptor lock_;  // of the file that tells others that a handler lives
  int handled_ = 0;
};

}  // namespace simcluster

#endif  // SIMCLUSTER_MESSAGES_MESSAGES_H_
