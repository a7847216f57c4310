// Telegrams as the service meets them: the fields of a request, and replies.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/support/Dfs.h"
#include "service/Forms.h"
#include "src/telegrams.h"

namespace service {

// The fields of one request. The operations deliver a field's value; one that is missing, of another type
// or senseless makes the whole incomplete and comes out empty, so that a handler takes all it needs and
// asks once. The request's bytes must outlive the object.
class Fields {
public:
  explicit Fields(View telegram) : m_complete(m_fields.Assign(telegram.data(), telegram.size())) {}

  bool IsComplete() const { return m_complete; }

  // A text with a zero character in it, which no client can have meant, counts as missing.
  UnicodeString Text(telegram::Key<telegram::Wire::Str> key);
  std::int32_t Number(telegram::Key<telegram::Wire::I4> key);
  bool Flag(telegram::Key<telegram::Wire::I2> key);
  Bytes Binary(telegram::Key<telegram::Wire::Bin> key);
  // The type letter of requests 0 and 1.
  std::uint16_t Letter();
  // Bytes of the value and the field "size", which must agree.
  Bytes SizedBinary();

private:
  template <class Value>
  Value Keep(bool found, Value&& value);

  DfsBin m_fields;
  bool m_complete;
};

// What a handler answers with, in the order in which it goes out.
using Replies = std::vector<Bytes>;

// Bytes of one reply at most: what a frame takes, less its header.
inline constexpr std::size_t replyRoom = (1U << 20U) - 256;

// Appends a reply with the fields that the filler adds, which need no more than that many bytes of texts
// and values. False, with nothing appended, where that is more than a reply takes.
template <class Fill>
bool addReply(Replies& replies, std::size_t contents, const Fill& fill) {
  constexpr std::size_t overhead = 256;  // header, keys and counts of the fields of any reply
  if (contents + overhead > replyRoom) return false;
  Bytes bytes(contents + overhead);
  DfsBin fields;
  fields.AssignEmptyBuffer(bytes.data(), static_cast<std::int64_t>(bytes.size()), false);
  fill(fields);
  if (fields.HasOverflow()) return false;
  bytes.resize(static_cast<std::size_t>(fields.GetDataSize()));
  replies.push_back(std::move(bytes));
  return true;
}

}  // namespace service
