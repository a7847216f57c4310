// The requests that only read. Each answers from the tree with replies, or refuses with a code and none.
#pragma once

#include <deque>
#include <memory>
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

// How many replies a listing request will have and the bytes of the largest value in them, so that a long one
// can be made where nobody waits for it; 0 where that can't be told.
struct Listed {
  std::uint64_t count = 0;
  std::uint64_t longest = 0;
};
Listed measureListed(Tree& tree, Fields& fields, telegram::Request request);

// A registry text in the raw replies that it goes out in. What they need is taken out of the share, and goes
// back with each one that leaves.
class TextPieces {
public:
  explicit TextPieces(std::shared_ptr<AnswerRoom::Share> share) : m_share(std::move(share)) {}

  // Appends, or refuses with the share's code.
  Code Add(std::u16string_view text);
  // Takes the first piece out; false where there is none.
  bool Take(Bytes& piece);

private:
  std::shared_ptr<AnswerRoom::Share> m_share;
  std::deque<Bytes> m_pieces;
};

// Request 10: the whole tree as registry text, all as of one moment.
Code exportText(const Tree& tree, TextPieces& pieces);

}  // namespace service
