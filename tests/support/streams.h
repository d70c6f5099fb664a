// The other end of a connection, as a test holds it, and signals that interrupt what is done on it.
// Nothing here waits without a limit: a test whose bytes never come fails instead of hanging.
#pragma once

#include "sim/base/file_descriptor.h"
#include "tests/support/bytes.h"
#include "tests/support/wait.h"

#include <csignal>
#include <cstddef>

bool readable(int fd, int timeout_ms);

// Up to `size` bytes; fewer when the other end closes or goes quiet.
bytes read_up_to(int fd, std::size_t size);

// Whether the other end has closed, with nothing left to read.
bool at_end(int fd);

// Whether there is neither a byte to read nor an end.
bool is_quiet(int fd);

void write_all(int fd, const bytes &data);

struct stream_pair {
    sim::file_descriptor here;
    sim::file_descriptor there;
};
stream_pair make_stream_pair();

inline volatile std::sig_atomic_t signals_seen = 0;

// A signal every millisecond, without SA_RESTART: every call that can be interrupted is.
class signal_rain {
public:
    signal_rain();
    ~signal_rain();
    signal_rain(const signal_rain &) = delete;
    signal_rain &operator=(const signal_rain &) = delete;

private:
    struct sigaction before_ {};
};
