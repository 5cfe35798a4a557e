#pragma once

#include "parameter_tree.h"

#include <map>
#include <string>
#include <string_view>

// The data model file: what the store of a new gateway holds, and what an added object is made of. Its
// format:
//
//   # a comment
//   [InternetGatewayDevice.Time.]                   an object; its parameters follow, one a line:
//   NTPServer1  string(64)  rw  0  Subscriber  ntp.example.net
//     name, type (value_types.h), ro, rw or boot (writable, takes effect with the next boot), notification 0
//     to 2, access list (entries with commas between them, "-" for none), and the value: the rest of the
//     line, where \xHH is a byte
//   [InternetGatewayDevice.Layer3Forwarding.Forwarding.] table 16 ForwardNumberOfEntries
//     an object to which up to 16 instances can be added; the named parameter of its parent counts them ("-":
//     none does)
//   [InternetGatewayDevice.Layer3Forwarding.Forwarding.{i}.]
//     what an instance holds; objects and tables below it are sections of their own, each with {i} for an
//     instance number
//   [InternetGatewayDevice.Layer3Forwarding.Forwarding.1.]
//     an instance that is there from the first; lines "Name = value" give its values, the rest is the
//     template's

struct TableRule {
    uint32_t maximumInstances; ///< at one time
    std::string counter;       ///< the last segment of the parameter that counts them; may be empty
};

struct DataModel {
    Tree factory;                            ///< every object and parameter of a new gateway
    Tree templates;                          ///< the same for instances, under names with {i}
    std::map<std::string, TableRule> tables; ///< by the table's path, with {i}
};

/// Reads the file. Throws std::runtime_error with the line's number when it is not as above.
DataModel readDataModel(const std::string &path);

/// The name with {i} in place of each instance number.
std::string patternOfPath(std::string_view path);

/// The rule of the table at that path; null when no instance can be added there.
const TableRule *findTable(const DataModel &model, std::string_view path);

/// What an instance with that path ("A.B.3.") is made of when new: all names in full.
Tree makeInstance(const DataModel &model, std::string_view path);

/// How many instances the table at that path has.
uint32_t countInstances(const Tree &tree, std::string_view tablePath);
