#ifndef VEL_TOOLS_PTPDUMP_JSON_H_
#define VEL_TOOLS_PTPDUMP_JSON_H_

#include <string>

#include "proptree/VelPropNode.h"

namespace ptpdump {

// Fills a tree from UTF-8 JSON: a node is an object with "name", a text,
// "attributes", an object of texts and whole numbers, and "children", an array
// of nodes; each may be missing. Throws std::runtime_error, whose text has the
// offset, for anything else.
void read_json(const std::string& json, vel::VelPropNode& root);

}  // namespace ptpdump

#endif  // VEL_TOOLS_PTPDUMP_JSON_H_
