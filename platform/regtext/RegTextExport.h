// Writes a tree of the registry as a registry text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/registry/registry.h"
#include "platform/regtext/RegTextWriter.h"

namespace regtext {

struct ExportResult {
  LSTATUS status = 0;    // 2 where the root is not there, 87 where it is no path
  std::string text;      // what failed, one line of UTF-8; empty where nothing did
  bool stopped = false;  // by the sink
  std::uint64_t keys = 0;
  std::uint64_t values = 0;

  bool Done() const { return status == 0 && !stopped; }
};

// Gives the sink the text of the key and of all below it, parent before child, keys and values in the
// order of their names. The root is a path with a hive's name, in the long or short form; an empty one is
// all four hives. The text shows one moment of the registry, whatever others write meanwhile; the store
// keeps that moment's pages until the return, so a sink with a slow receiver better collects first. Inside
// a RegistryTransaction of the caller it shows that. On a failure the text ends where it stood.
ExportResult exportTree(std::u16string_view root, const Sink& sink, LineEnd lineEnd = LineEnd::CrLf);

}  // namespace regtext
