// Clients are compiled against the types of the functions: they never change. Whoever changes one
// does not get past the compiler.
#include "signatures.h"

#include <type_traits>

namespace {

#define HELD(name, result, arguments)                                                              \
    static_assert(std::is_same_v<decltype(&name), result(*) arguments>,                            \
                  #name " has changed its type");
VELL_SIGNATURES(HELD)

#define HELD_SETTER(name) HELD(vell_mrib_set_flags_##name, void, (vell_mrib_route *))
#define HELD_TESTER(name) HELD(vell_mrib_is_flags_##name, int, (const vell_mrib_route *))
VELL_FLAG_SETTERS(HELD_SETTER)
VELL_FLAG_TESTERS(HELD_TESTER)

} // namespace
