// What the record set's classes stand on.
#pragma once

#include <cstdint>

#include "platform/support/api.h"

// The root of them: an object may be deleted through it.
class SPS_API DslBase {
public:
  DslBase() = default;
  DslBase(const DslBase&) = default;
  DslBase& operator=(const DslBase&) = default;
  virtual ~DslBase();
};

// Lets whoever worked something out from an object notice that the object changed since.
class DslBaseReference {
public:
  // Another number after each change.
  std::uint64_t GetRevision() const { return m_revision; }

protected:
  ~DslBaseReference() = default;
  void Touch() { ++m_revision; }

private:
  std::uint64_t m_revision = 0;
};

// Whom fields belong to: it says which row they show, and hears of what is written to them.
class DslFieldOwner {
public:
  // Number of the selected row, from 0; -1 where none is selected.
  virtual std::int32_t GetSelectedRow() const = 0;
  virtual void FieldChanged() = 0;

protected:
  ~DslFieldOwner() = default;
};
