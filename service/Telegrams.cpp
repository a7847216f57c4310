#include "service/Telegrams.h"

#include <algorithm>
#include <utility>

namespace service {

template <class Value>
Value Fields::Keep(bool found, Value&& value) {
  m_complete = m_complete && found;
  return std::forward<Value>(value);
}

UnicodeString Fields::Text(telegram::Key<telegram::Wire::Str> key) {
  UnicodeString text;
  Take(key, text);
  return text;
}

void Fields::Take(telegram::Key<telegram::Wire::Str> key, UnicodeString& text) {
  const bool found = telegram::get(m_fields, key, text);
  if (!found) text.Empty();
  m_complete = m_complete && found && text.View().find(u'\0') == std::u16string_view::npos;
}

std::int32_t Fields::Number(telegram::Key<telegram::Wire::I4> key) {
  std::int32_t number = 0;
  const bool found = telegram::get(m_fields, key, number);
  return Keep(found, std::move(number));
}

bool Fields::Flag(telegram::Key<telegram::Wire::I2> key) {
  std::int16_t number = 0;
  const bool found = telegram::get(m_fields, key, number);
  return Keep(found, number != 0);
}

Bytes Fields::Binary(telegram::Key<telegram::Wire::Bin> key) {
  Bytes bytes(m_complete ? static_cast<std::size_t>(m_fields.GetDataSize()) : 0);
  std::int32_t count = 0;
  const bool found =
      telegram::get(m_fields, key, bytes.data(), static_cast<std::int64_t>(bytes.size()), count);
  bytes.resize(static_cast<std::size_t>(count));
  return Keep(found, std::move(bytes));
}

std::uint16_t Fields::Letter() {
  std::uint16_t letter = 0;
  const bool found = telegram::getLetter(m_fields, letter);
  return Keep(found, std::move(letter));
}

Bytes Fields::SizedBinary() {
  const std::int32_t size = Number(telegram::key::size);
  Bytes bytes = Binary(telegram::key::binary);
  return Keep(size >= 0 && static_cast<std::size_t>(size) == bytes.size(), std::move(bytes));
}

void Replies::Clear() {
  constexpr std::size_t keptBytes = 64U << 10U;
  if (m_bytes.capacity() > keptBytes) return void(*this = {});
  m_bytes.clear();
  m_ends.clear();
}

// Whoever counts the memory has to know of it before it is there. Where there is no room for twice as much,
// it takes the largest step that finds room, since each moves all that is there.
template <class Value>
Code Replies::Grow(std::vector<Value>& values, std::size_t count) {
  const std::size_t before = values.capacity();
  if (values.size() + count <= before) return accepted;
  const std::size_t least = values.size() + count - before;
  for (std::size_t more = std::max(least, before);; more = std::max(least, more / 2)) {
    const Code code = m_share->Take(more * sizeof(Value));
    if (code == accepted) values.reserve(before + more);
    if (code != noRoom || more == least) return code;
  }
}

Code Replies::Provide(std::size_t bytes) {
  if (!m_share) return accepted;
  if (const Code code = m_share->Check(); code != accepted) return code;
  const Code code = Grow(m_bytes, bytes);
  return code == accepted ? Grow(m_ends, 1) : code;
}

void accept(ipc::Exchange& exchange, Replies replies) {
  if (replies.Count() == 0) return exchange.accept();
  exchange.acceptEach([replies = std::move(replies), at = std::size_t{0}](Bytes& reply) mutable {
    if (at == replies.Count()) return false;
    const View next = replies.At(at++);
    reply.assign(next.begin(), next.end());
    return true;
  });
}

}  // namespace service
