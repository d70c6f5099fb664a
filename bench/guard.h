// The record of instruction counts, and whether the library still keeps to it.
#pragma once

#include "measure.h"

#include <string>

namespace bench {

// The compiler and the C library that decide the counts.
std::string built_with();

void write_record(const std::string &path, const operations &table,
                  const std::vector<costs> &results);

// Returns false when an operation takes more instructions than on record, or the record does not
// name the operations of the table. Says so, and what became cheaper.
bool keeps_to_record(const std::string &path, const operations &table,
                     const std::vector<costs> &results);

// Whether a record can be compared with: made by the same compiler and C library. Says so when not.
bool is_comparable(const std::string &path);

} // namespace bench
