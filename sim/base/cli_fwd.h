// The command line's class by its name alone, for headers that only pass it on: what defines it
// takes long to compile.
#pragma once

namespace CLI {

class App;

} // namespace CLI
