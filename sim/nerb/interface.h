// libnerb's interface, as its sources include it: what it declares is exported, everything else
// stays inside.
#pragma once

#pragma GCC visibility push(default)
#include <nerb.h>
#include <nerb_sim.h>
#pragma GCC visibility pop
