// What loading any C++ library costs.
#include <string>

__attribute__((visibility("default"))) std::string Empty() { return {}; }
