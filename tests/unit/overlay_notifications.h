// What the tests of the overlay's notifications share.
#pragma once

#include "library_test.h"

inline constexpr std::uint32_t queue = 0x14131211;

// Nothing of the client's state decides or changes.
inline constexpr ClientState states[] = {{.id = 0, .queue = 0, .uuid = 384},
                                         {.id = 0, .queue = 7, .uuid = 5},
                                         {.id = 9, .queue = 0, .uuid = 5},
                                         {.id = 9, .queue = 7, .uuid = 5}};
