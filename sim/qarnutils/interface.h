// libqarnutils' interface, as its sources include it: what it declares is exported, everything else
// stays inside.
#pragma once

#pragma GCC visibility push(default)
#include <qarnutils.h>
#include <qarnutils_sim.h>
#pragma GCC visibility pop
