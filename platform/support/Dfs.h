// The container of named, typed fields that a telegram is. Its bytes are described in docs/telegram.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"

// An ordered container of fields, each with a key of up to 255 characters and a value of one of four
// types. It holds no bytes itself: it writes into a buffer of the caller's, or reads bytes received,
// also the caller's; both must outlive its use. Sizes are in bytes. One object belongs to one thread at
// a time.
//
// Writing. Fields are appended in the order of the calls; a key may come twice. A call whose field does
// not fit, or cannot be represented, gives false and leaves the container's bytes as they were, and the
// container has overflowed from then on: HasOverflow is true, further calls give false, GetData is null
// and GetDataSize 0, so that a telegram is never sent short by a caller who does not look at the
// results. Emptying the container, or assigning to it, ends that. A container with nothing bound to it
// is empty and overflows at the first field.
//
// Reading. Fields are found by key, in any order and any number of times; case counts. Where a key is
// there twice its first field counts, and a field of another type than the call's is as good as absent.
// A read that gives false leaves the out arguments untouched. Null keys and texts are read as empty.
class SPS_API Dfs {
public:
  Dfs() = default;
  // The buffer is bound to one object.
  Dfs(const Dfs&) = delete;
  Dfs& operator=(const Dfs&) = delete;

  // The container's bytes and their count: a whole, valid telegram, though one without fields. Valid
  // until the next change. Null and 0 after an overflow.
  virtual const std::uint8_t* GetData() const;
  virtual std::int32_t GetDataSize() const;

  virtual ~Dfs();

  // Binds the container to a buffer and empties it. The flag is always false and has no meaning. False
  // where the buffer is null or shorter than an empty container; the container has then overflowed.
  bool AssignEmptyBuffer(std::uint8_t* buffer, std::int64_t size, bool flag);
  bool AssignEmptyBuffer(char* buffer, std::int64_t size, bool flag);
  // Removes all fields. Bytes received are let go, and the last buffer given is written to again.
  void SetEmpty();

  // Reads from bytes received, from whatever source: they are checked as a whole, and what is malformed
  // in any way is refused with false, leaving the container empty. Bytes received can't be appended to.
  bool Assign(const void* data, std::size_t size);

  bool HasOverflow() const { return m_overflow; }

  bool AddValueStr(const char16_t* value, const char16_t* key);
  bool AddValueI4(std::int32_t value, const char16_t* key);
  bool AddValueI2(std::int16_t value, const char16_t* key);
  // Null data is allowed for 0 bytes only; a byte count below 0 is refused.
  bool AddValueBin(const void* data, std::int64_t bytes, const char16_t* key);

  bool GetCurStr(const char16_t* key, UnicodeString& out) const;
  bool GetCurI4(const char16_t* key, std::int32_t& out) const;
  bool GetCurI2(const char16_t* key, std::int16_t& out) const;
  // Copies the value's bytes to out, and their count to bytesRead, which may be the variable given as
  // the maximum. False where the value is longer than the maximum: part of a value is none. Out may be
  // null for a value of 0 bytes only.
  bool GetCurBin(const char16_t* key, void* out, std::int64_t maximum, std::int32_t& bytesRead) const;

private:
  std::span<std::uint8_t> room() const;
  bool append(std::size_t fieldSize);

  std::uint8_t* m_buffer = nullptr;
  std::size_t m_capacity = 0;
  const std::uint8_t* m_data = nullptr;  // the buffer, bytes received, or null for an empty container
  std::size_t m_size = 0;
  bool m_received = false;  // the data may not be written to, even where it lies in the buffer
  bool m_overflow = false;
};

// The form in which telegrams are held and sent.
class SPS_API DfsBin : public Dfs {};
