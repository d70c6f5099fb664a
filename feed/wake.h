// The kernel's word that multicast state may have changed.
//
// What it says is not the state: of many changes some messages are lost, and of some changes none is
// sent: an interface that is deleted leaves every route without a message about routes. So a wake says
// only that the state must be read again.
#pragma once

#include "sim/base/file_descriptor.h"

namespace feed {

class wake {
public:
    // Throws std::system_error.
    wake();

    // Readable when something changed.
    int fd() const { return socket_.get(); }

    // Takes all that has come. Messages that were lost count as one.
    void drain();

private:
    sim::file_descriptor socket_;
};

} // namespace feed
