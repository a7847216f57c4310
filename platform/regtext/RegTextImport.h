// Applies a registry text to the registry, all of it or nothing.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/registry/registry.h"
#include "platform/regtext/RegText.h"

namespace regtext {

struct ImportOptions {
  // Where not empty: the text may name this key and those below it, and no other.
  std::u16string within;
  // Does everything but keep it: the counts are those that the import would have.
  bool dryRun = false;
};

struct ImportResult {
  // What was wrong: a line of the text (fault), with the registry's number (status) where it was the
  // registry that refused it; or the number alone, for a transaction that could not begin or be kept. 87
  // and a text without a line: the option "within" is no path.
  Fault fault;
  LSTATUS status = 0;
  bool cancelled = false;

  // What was done, or was until the failure that took it all back.
  std::uint64_t keys = 0;           // key lines
  std::uint64_t newKeys = 0;        // those among them whose key was not there
  std::uint64_t values = 0;         // values set
  std::uint64_t deletedKeys = 0;    // with those below them; what was not there is no failure
  std::uint64_t deletedValues = 0;  // by name

  bool Done() const { return !fault && status == 0 && !cancelled; }
  // What went wrong, one line of UTF-8; empty when done.
  std::string Message() const;
};

// Gets the characters done and those there are, a few hundred times at most; false cancels the import.
using Progress = std::function<bool(std::uint64_t done, std::uint64_t total)>;

// The text is checked to its end before the store is touched; then one transaction takes it, durable at
// the return, while other writers wait. Unless the result is Done the registry is as it was. Missing
// levels above a key are made; new keys are not volatile. Inside a RegistryTransaction of the caller it
// becomes durable with that.
ImportResult importText(std::u16string_view text, const ImportOptions& options = {},
                        const Progress& progress = {});

}  // namespace regtext
