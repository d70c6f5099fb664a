#include "declarations.h"

#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace {

// One declaration, up to its semicolon, blanks folded, at brace depth 0.
std::string next_declaration(std::istream &text) {
    std::string declaration;
    int depth = 0;
    for (char c; text.get(c);) {
        depth += (c == '{') - (c == '}');
        if (c == ';' && depth == 0)
            break;
        const bool blank = std::isspace(static_cast<unsigned char>(c)) != 0;
        if (blank && (declaration.empty() || declaration.back() == ' '))
            continue;
        declaration += blank ? ' ' : c;
    }
    return declaration;
}

} // namespace

declarations read_declarations(const std::string &preprocessed_path, bool exported_only) {
    std::ifstream text(preprocessed_path);
    if (!text)
        throw std::runtime_error("cannot read " + preprocessed_path);
    static const std::regex attribute(R"(__attribute__ ?\(\(.*?\)\)\)?)");
    static const std::regex function(R"((\w+) ?\()");
    static const std::regex variable(R"((\w+) ?(\[[^\]]*\])? ?$)");

    declarations found;
    while (text) {
        std::string declaration = next_declaration(text);
        const bool exported = declaration.find("visibility(\"default\")") != std::string::npos;
        if ((exported_only && !exported) || declaration.find("typedef") != std::string::npos)
            continue;
        declaration = std::regex_replace(declaration, attribute, "");
        std::smatch match;
        if (std::regex_search(declaration, match, function))
            found.functions.insert(match[1]);
        else if (declaration.find("extern ") != std::string::npos &&
                 std::regex_search(declaration, match, variable))
            found.variables.insert(match[1]);
    }
    return found;
}
