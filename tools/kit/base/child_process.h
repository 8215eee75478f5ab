// Work in a process of its own, for what must not leave traces in this one.
#ifndef VELQ_KIT_BASE_CHILD_PROCESS_H
#define VELQ_KIT_BASE_CHILD_PROCESS_H

#include <functional>
#include <string>

namespace velq::kit {

// The bytes that `work` returns, which runs in a child process. The child begins as a copy of this process and ends
// without running what is registered for its end, so that files and folders of this process stay. An Error that `work`
// throws is thrown here; any other exception, and a child that ends before it has answered, become an Error (internal).
std::string inChildProcess(const std::function<std::string()> &work);

} // namespace velq::kit

#endif
