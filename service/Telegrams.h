// Telegrams as the service meets them: the fields of a request, and replies.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/ipc/IpcServer.h"
#include "platform/support/Dfs.h"
#include "service/AnswerRoom.h"
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
  // The same into a text that has its memory already.
  void Take(telegram::Key<telegram::Wire::Str> key, UnicodeString& text);
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

// What a handler answers with, in the order in which it goes out. All replies lie in one piece of memory.
class Replies {
public:
  Replies() = default;
  // Replies that may become many: their memory is taken out of the share, and goes back with the last copy.
  explicit Replies(std::shared_ptr<AnswerRoom::Share> share) : m_share(std::move(share)) {}

  std::size_t Count() const { return m_ends.size(); }
  View At(std::size_t index) const {
    const std::size_t begin = index == 0 ? 0 : m_ends[index - 1];
    return View(m_bytes).subspan(begin, m_ends[index] - begin);
  }
  // Keeps the memory for the next answer, unless it is much.
  void Clear();

  // Appends a reply with the fields that the filler adds, which need no more than that many bytes of texts
  // and values. Refuses, with nothing appended, where that is more than a reply takes (234) or there is no
  // room for it (1450, 1115).
  template <class Fill>
  Code Add(std::size_t contents, const Fill& fill) {
    if (contents + overhead > room) return tooLarge;
    if (const Code code = Provide(contents + overhead); code != accepted) return code;
    const std::size_t begin = m_bytes.size();
    m_bytes.resize(begin + contents + overhead);
    DfsBin fields;
    fields.AssignEmptyBuffer(m_bytes.data() + begin, static_cast<std::int64_t>(contents + overhead), false);
    fill(fields);
    const bool fits = !fields.HasOverflow();
    m_bytes.resize(begin + (fits ? static_cast<std::size_t>(fields.GetDataSize()) : 0));
    if (fits) m_ends.push_back(m_bytes.size());
    return fits ? accepted : tooLarge;
  }

private:
  static constexpr std::size_t room = (1U << 20U) - 256;  // what a frame takes, less its header
  static constexpr std::size_t overhead = 256;  // header, keys and counts of the fields of any reply

  Code Provide(std::size_t bytes);
  template <class Value>
  Code Grow(std::vector<Value>& values, std::size_t count);

  // First, so that memory is given back when it is free.
  std::shared_ptr<AnswerRoom::Share> m_share;
  Bytes m_bytes;
  std::vector<std::size_t> m_ends;
};

// Answers with the verdict "done" and the replies.
void accept(ipc::Exchange& exchange, Replies replies);

}  // namespace service
