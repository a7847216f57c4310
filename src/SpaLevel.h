// The four levels of a Spa as a table, and the way that every operation on one of them goes.
#pragma once

#include "src/RgNode.h"
#include "src/Spa.h"

struct Spa::Level {
  UnicodeString Spa::*name;
  std::unique_ptr<RgNode> Spa::*node;
  std::int32_t missing;  // the code of an operation that needs this level and does not find it
};

// The node's code stays with the object also where it is 0, at the end of a list.
template <class Operation>
bool Spa::Run(Depth depth, Operation operation) {
  RgNode* const node = NodeOf(depth);
  return node && (operation(*node) || Fail(node->GetRetCode()));
}
