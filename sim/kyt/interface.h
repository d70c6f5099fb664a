// libkyt's interface, as its sources include it: what it declares is exported, everything else
// stays inside.
#pragma once

#pragma GCC visibility push(default)
#include <kyt.h>
#include <kyt_sim.h>
#pragma GCC visibility pop
