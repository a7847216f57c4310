#include "platform/regtext/RegTextImport.h"

#include <algorithm>
#include <vector>

#include "platform/registry/RegistryTransaction.h"
#include "platform/regtext/OpenKey.h"
#include "platform/regtext/RegTextPath.h"
#include "platform/regtext/RegTextReader.h"
#include "platform/support/Utf.h"

namespace regtext {
namespace {

constexpr std::size_t progressSteps = 200;

Fault outside(const Event& event, std::u16string_view root) {
  return {event.line, "found the key " + support::toUtf8(event.key) + ", expected " + support::toUtf8(root) +
                          " or a key below it"};
}

// Nothing of a faulty text is to reach the store, and no other writer is to wait for its reading.
Fault checkWithin(std::u16string_view text, std::u16string_view root) {
  Fault fault;
  const Fault syntax = parse(text, [&](const Event& event) {
    if (!root.empty() && !isWithin(event.key, root)) fault = outside(event, root);
    return !fault;
  });
  return fault ? fault : syntax;
}

// The key and all below it. A key whose sub keys are gone goes itself, so the deepest go first.
LSTATUS deleteTree(const Place& place, std::uint64_t& deleted) {
  struct Level {
    OpenKey key;
    std::u16string name;
  };
  std::vector<Level> levels;
  levels.push_back({OpenKey(place.hive, place.subPath), place.subPath});
  char16_t name[maxKeyNameLength + 1];
  while (!levels.empty()) {
    if (levels.back().key.Status() != 0) return levels.back().key.Status();
    DWORD size = maxKeyNameLength + 1;
    const HKEY key = levels.back().key.Get();
    const LSTATUS status = RegEnumKeyExW(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_SUCCESS) {
      levels.push_back({OpenKey(key, std::u16string(name, size)), std::u16string(name, size)});
      continue;
    }
    if (status != ERROR_NO_MORE_ITEMS) return status;
    const std::u16string finished = std::move(levels.back().name);
    levels.pop_back();
    const HKEY parent = levels.empty() ? place.hive : levels.back().key.Get();
    if (const LSTATUS gone = RegDeleteKeyW(parent, finished.c_str()); gone != 0) return gone;
    ++deleted;
  }
  return ERROR_SUCCESS;
}

class Importer {
public:
  Importer(ImportResult& result, const Progress& progress, std::size_t total)
      : m_result(result), m_progress(progress), m_total(total) {}

  bool Apply(const Event& event) {
    const LSTATUS status = Do(event);
    if (status != 0) return Refused(event, status);
    return Report(event.position);
  }

  bool Report(std::size_t position) {
    if (!m_progress || position < m_nextReport) return true;
    m_nextReport = position + std::max<std::size_t>(m_total / progressSteps, 1);
    m_result.cancelled = !m_progress(position, m_total);
    return !m_result.cancelled;
  }

private:
  LSTATUS Do(const Event& event);
  LSTATUS TakeKey(const Event& event);
  LSTATUS DeleteKey(const Event& event);
  LSTATUS SetValue(const Event& event);
  LSTATUS DeleteValue(const Event& event);
  bool Refused(const Event& event, LSTATUS status);

  ImportResult& m_result;
  const Progress& m_progress;
  std::size_t m_total;
  std::size_t m_nextReport = 0;
  OpenKey m_key;
  std::u16string m_name;
};

LSTATUS Importer::Do(const Event& event) {
  m_name = event.name;
  switch (event.kind) {
    case Kind::Key:
      return TakeKey(event);
    case Kind::DeleteKey:
      return DeleteKey(event);
    case Kind::Value:
      return SetValue(event);
    case Kind::DeleteValue:
      return DeleteValue(event);
  }
  return ERROR_INVALID_PARAMETER;
}

LSTATUS Importer::TakeKey(const Event& event) {
  const Place place = splitPath(event.key);
  DWORD disposition = REG_OPENED_EXISTING_KEY;
  if (place.subPath.empty()) {
    m_key = OpenKey(place.hive, place.subPath);
  } else {
    HKEY key = 0;
    const LSTATUS status =
        RegCreateKeyExW(place.hive, place.subPath.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                        MAXIMUM_ALLOWED, nullptr, &key, &disposition);
    m_key = OpenKey(key, status);
  }
  if (m_key.Status() != 0) return m_key.Status();
  ++m_result.keys;
  if (disposition == REG_CREATED_NEW_KEY) ++m_result.newKeys;
  return ERROR_SUCCESS;
}

LSTATUS Importer::DeleteKey(const Event& event) {
  m_key = OpenKey();
  const LSTATUS status = deleteTree(splitPath(event.key), m_result.deletedKeys);
  return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
}

LSTATUS Importer::SetValue(const Event& event) {
  const BYTE none = 0;
  const BYTE* data = event.data.empty() ? &none : event.data.data();
  const LSTATUS status =
      RegSetValueExW(m_key.Get(), m_name.c_str(), 0, event.type, data, static_cast<DWORD>(event.data.size()));
  if (status == 0) ++m_result.values;
  return status;
}

LSTATUS Importer::DeleteValue(const Event& event) {
  static_cast<void>(event);
  const LSTATUS status = RegDeleteValueW(m_key.Get(), m_name.c_str());
  if (status == 0) ++m_result.deletedValues;
  return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
}

bool Importer::Refused(const Event& event, LSTATUS status) {
  const bool ofValue = event.kind == Kind::Value || event.kind == Kind::DeleteValue;
  const std::string value = ofValue ? "the value \"" + support::toUtf8(event.name) + "\" of " : "";
  m_result.status = status;
  m_result.fault = {event.line, "the registry refused " + value + "the key " + support::toUtf8(event.key) +
                                    " with error " + std::to_string(status)};
  return false;
}

void apply(std::u16string_view text, const ImportOptions& options, const Progress& progress,
           ImportResult& result) {
  RegistryTransaction transaction;
  result.status = transaction.Status();
  if (result.status != 0) return;
  {
    Importer importer(result, progress, text.size());
    const Fault fault = parse(text, [&](const Event& event) { return importer.Apply(event); });
    if (fault) result.fault = fault;
    if (!result.Done() || !importer.Report(text.size())) return;
  }
  if (!options.dryRun) result.status = transaction.Commit();
}

}  // namespace

std::string ImportResult::Message() const {
  if (fault) return fault.Message();
  if (!fault.text.empty()) return "the key that the text must stay within: " + fault.text;
  if (status != 0) return "the registry ended the import with error " + std::to_string(status);
  return cancelled ? "the import was cancelled" : "";
}

ImportResult importText(std::u16string_view text, const ImportOptions& options, const Progress& progress) {
  ImportResult result;
  std::u16string root;
  if (!options.within.empty()) result.fault.text = normalizePath(options.within, root);
  if (!result.fault.text.empty()) {
    result.status = ERROR_INVALID_PARAMETER;
    return result;
  }
  result.fault = checkWithin(text, root);
  if (!result.fault) apply(text, options, progress, result);
  return result;
}

}  // namespace regtext
