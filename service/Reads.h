// The requests that only read. Each answers from the tree with replies, or refuses with a code and none.
#pragma once

#include <functional>
#include <string_view>

#include "service/Telegrams.h"

namespace service {

// Request 0: the value that applies to the caller, resolved and plain.
Code readParameter(Tree& tree, Fields& fields, Replies& replies);
// Request 2: a reply for each child node, in the order of the names, all as of one moment.
Code listNodes(Tree& tree, Fields& fields, Replies& replies);
// Request 3: a reply for each property, likewise. 234 where one of them is more than a reply takes.
Code listProperties(Tree& tree, Fields& fields, Replies& replies);
// Request 8.
Code tellSpace(Tree& tree, Fields& fields, Replies& replies);
// Request 14.
Code tellVersion(Tree& tree, Fields& fields, Replies& replies);

// How many replies a listing request will have, so that a long one can be made where nobody waits for it;
// 0 where that can't be told.
std::uint32_t countListed(Tree& tree, Fields& fields, telegram::Request request);

// Request 10: the whole tree as registry text.
Code exportText(const Tree& tree, std::u16string& text);
// The bytes of one of the raw replies that the text goes out in, at a position that moves on behind it;
// false at the end.
bool takePiece(std::u16string_view text, std::size_t& position, Bytes& piece);

}  // namespace service
