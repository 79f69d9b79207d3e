#include "devices/DeviceNode.h"

#include <quarn/Debug.h>
#include <quarn/MonitorException.h>

#include "foundation/ErrnoText.h"

#include <errno.h>
#include <fcntl.h>

namespace quarn {

DeviceNode::DeviceNode(DeviceIO& io, const char* tag, const char* kind, const std::string& name)
    : io_(io), tag_(tag), name_(name), fd_(io.Open("/dev/" + name, O_RDWR)) {
    if (fd_ < 0)
        throw MonitorException("%s: Could not open %s device /dev/%s: %s", tag, kind, name.c_str(),
                               ErrnoText(errno).c_str());
}

DeviceNode::~DeviceNode() {
    if (io_.Close(fd_) != 0 && DefaultDebug())
        DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__, "%s: could not close /dev/%s: %s", tag_,
                               name_.c_str(), ErrnoText(errno).c_str());
}

}  // namespace quarn
