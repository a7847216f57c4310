#include "platform/regtext/RegTextExport.h"

#include <algorithm>
#include <vector>

#include "platform/registry/RegistryView.h"
#include "platform/regtext/OpenKey.h"
#include "platform/regtext/RegTextPath.h"
#include "platform/support/Utf.h"

namespace regtext {
namespace {

constexpr std::size_t firstBuffer = 4096;

class Exporter {
public:
  Exporter(Writer& writer, ExportResult& result)
      : m_writer(writer), m_result(result), m_name(maxValueNameLength + 1), m_data(firstBuffer) {}

  bool Tree(const std::u16string& root);

private:
  bool Enter(HKEY parent, const std::u16string& path, std::size_t parentPathLength);
  bool NextSubKey();
  bool Key(HKEY key);
  LSTATUS NextValue(HKEY key, DWORD index, DWORD& type, std::u16string_view& name, DWORD& size);
  bool Failed(LSTATUS status);
  bool Stopped();

  struct Level {
    OpenKey key;
    std::size_t pathLength;  // of the level above
    DWORD next = 0;
  };
  Writer& m_writer;
  ExportResult& m_result;
  std::u16string m_path;
  std::vector<Level> m_levels;
  std::vector<char16_t> m_name;
  std::vector<BYTE> m_data;
};

bool Exporter::Failed(LSTATUS status) {
  m_result.status = status;
  m_result.text =
      "the registry refused the key " + support::toUtf8(m_path) + " with error " + std::to_string(status);
  return false;
}

bool Exporter::Stopped() {
  m_result.stopped = true;
  return false;
}

// The way down is a list and not a recursion: how deep a tree is, others decide.
bool Exporter::Tree(const std::u16string& root) {
  const Place place = splitPath(root);
  m_path = root;
  if (!Enter(place.hive, place.subPath, root.size())) return false;
  while (!m_levels.empty()) {
    if (!NextSubKey()) return false;
  }
  return true;
}

bool Exporter::Enter(HKEY parent, const std::u16string& path, std::size_t parentPathLength) {
  m_levels.push_back({OpenKey(parent, path), parentPathLength});
  const OpenKey& key = m_levels.back().key;
  return key.Status() == 0 ? Key(key.Get()) : Failed(key.Status());
}

bool Exporter::NextSubKey() {
  Level& level = m_levels.back();
  DWORD size = maxKeyNameLength + 1;
  const HKEY key = level.key.Get();
  const LSTATUS status =
      RegEnumKeyExW(key, level.next, m_name.data(), &size, nullptr, nullptr, nullptr, nullptr);
  if (status == ERROR_NO_MORE_ITEMS) {
    m_path.resize(level.pathLength);
    m_levels.pop_back();
    return true;
  }
  if (status != 0) return Failed(status);
  ++level.next;
  const std::u16string name(m_name.data(), size);
  const std::size_t above = m_path.size();
  m_path += u'\\';
  m_path += name;
  return Enter(key, name, above);
}

bool Exporter::Key(HKEY key) {
  if (!m_writer.Key(m_path)) return Stopped();
  ++m_result.keys;
  for (DWORD index = 0;; ++index) {
    DWORD type = 0;
    DWORD size = 0;
    std::u16string_view name;
    const LSTATUS status = NextValue(key, index, type, name, size);
    if (status == ERROR_NO_MORE_ITEMS) return true;
    if (status != 0) return Failed(status);
    if (!m_writer.Value(name, type, {m_data.data(), size})) return Stopped();
    ++m_result.values;
  }
}

LSTATUS Exporter::NextValue(HKEY key, DWORD index, DWORD& type, std::u16string_view& name, DWORD& size) {
  for (;;) {
    auto nameSize = static_cast<DWORD>(m_name.size());
    size = static_cast<DWORD>(m_data.size());
    const LSTATUS status =
        RegEnumValueW(key, index, m_name.data(), &nameSize, nullptr, &type, m_data.data(), &size);
    name = {m_name.data(), nameSize};
    if (status != ERROR_MORE_DATA || size <= m_data.size()) return status;
    m_data.resize(std::max<std::size_t>(size, m_data.size() * 2));
  }
}

}  // namespace

ExportResult exportTree(std::u16string_view root, const Sink& sink, LineEnd lineEnd) {
  ExportResult result;
  std::vector<std::u16string> roots;
  if (root.empty()) {
    for (const Hive& hive : hives) roots.emplace_back(hive.name);
  } else {
    result.text = normalizePath(root, roots.emplace_back());
    if (!result.text.empty()) {
      result.status = ERROR_INVALID_PARAMETER;
      return result;
    }
  }
  const RegistryView moment;
  Writer writer(sink, lineEnd);
  Exporter exporter(writer, result);
  for (const std::u16string& path : roots) {
    if (!exporter.Tree(path)) return result;
  }
  result.stopped = !writer.Finish();
  return result;
}

}  // namespace regtext
