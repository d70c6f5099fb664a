// What a preprocessed C header declares: the names of its functions and of its variables.
#pragma once

#include <set>
#include <string>

struct declarations {
    std::set<std::string> functions;
    std::set<std::string> variables;

    void merge(declarations other) {
        functions.merge(other.functions);
        variables.merge(other.variables);
    }
};

// Reads declarations of public names: of all, or of those with default visibility alone.
declarations read_declarations(const std::string &preprocessed_path, bool exported_only);
