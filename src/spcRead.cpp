// The GetPar family: one read, to which each form brings the place of its value.
#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "platform/registry/RegistryView.h"
#include "platform/support/Scan.h"
#include "src/RgNode.h"
#include "src/hives.h"
#include "src/spc.h"
#include "src/spcForms.h"
#include "src/spcPath.h"
#include "src/spcPlacement.h"

namespace {

using client::letterOf;
using client::ReadForm;

constexpr std::int32_t valueMissing = 12;
constexpr std::int32_t typeUnknown = 13;

// Bytes that the string form takes from the master.
constexpr std::uint32_t remoteTextLimit = 2048;

// As it is stored: not to be expanded, and of whole characters.
bool isPlainText(const RegistryGlance::Value& stored) {
  return stored.type != REG_EXPAND_SZ && stored.bytes.size() % sizeof(char16_t) == 0;
}

// What every read looks for.
struct Names {
  RegistryName type{Spc::m_pTYPE};
  RegistryName override{Spc::m_pOVERRIDE};
  RegistryName decrypt{Spc::m_pDECRYPT};
  RegistryName value{Spc::m_pVAL};
};

// Never destroyed: reads may come from the destructors of other static objects.
const Names& names() {
  static const auto* const all = new Names;
  return *all;
}

// A letter that is there whole; else 0.
std::uint16_t letterAt(RegistryGlance& key, const RegistryName& name) {
  RegistryGlance::Value stored;
  std::uint16_t letter = 0;
  if (!key.Find(name, stored) || stored.bytes.size() != sizeof letter) return 0;
  std::memcpy(&letter, stored.bytes.data(), sizeof letter);
  return letter;
}

class StringForm : public ReadForm {
public:
  // The room costs nothing until something is put there.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
  explicit StringForm(UnicodeString& value)
      : ReadForm({letterOf<UnicodeString>, remoteTextLimit, true}), m_value(value) {}
  bool IsNull() const override { return false; }
  bool Read(RgNode& node, const char16_t* name) override { return node.GetValue(name, m_value); }
  bool Take(const RegistryGlance::Value& stored) override {
    if (!isPlainText(stored) || stored.bytes.size() > sizeof m_room) return false;
    std::memcpy(m_room.data(), stored.bytes.data(), stored.bytes.size());
    m_value = support::upToZero({m_room.data(), stored.bytes.size() / sizeof(char16_t)});
    return true;
  }
  void* OpenBuffer() override {
    std::memset(m_room.data(), 0, sizeof m_room);  // a reply may come without a terminator
    return m_room.data();
  }
  void CloseBuffer() override { m_value = m_room.data(); }
  UnicodeString Text() const override { return m_value; }
  bool SetText(UnicodeString&& text) override {
    m_value = std::move(text);
    return true;
  }

private:
  UnicodeString& m_value;
  std::array<char16_t, remoteTextLimit / sizeof(char16_t) + 1> m_room;
};

class BufferForm : public ReadForm {
public:
  BufferForm(char16_t* value, std::uint32_t capacity)
      : ReadForm({letterOf<UnicodeString>, capacity, true, true}), m_value(value), m_capacity(capacity) {}
  bool IsNull() const override { return !m_value; }
  bool Read(RgNode& node, const char16_t* name) override {
    if (!node.GetValue(name, m_value, m_capacity)) return false;
    // The caller takes it for a terminated text: one that has no terminator needs room for it too.
    const std::u16string_view room(m_value, m_capacity);
    if (room.find(u'\0') != std::u16string_view::npos) return true;
    m_value[m_capacity - 1] = 0;
    return node.GetValue(name, m_value, m_capacity - 1);
  }
  bool Take(const RegistryGlance::Value& stored) override {
    const std::size_t count = stored.bytes.size() / sizeof(char16_t);
    if (!isPlainText(stored) || count >= m_capacity) return false;
    std::memcpy(m_value, stored.bytes.data(), stored.bytes.size());
    m_value[count] = u'\0';
    return true;
  }
  void* OpenBuffer() override {
    // A reply has at most as many bytes as there are characters here, and perhaps no terminator of its own.
    std::fill_n(m_value, m_capacity, u'\0');
    return m_value;
  }
  // Half a character may have come into the only one.
  void CloseBuffer() override {
    if (m_capacity > 0) m_value[m_capacity - 1] = u'\0';
  }
  UnicodeString Text() const override { return m_value; }
  bool SetText(UnicodeString&& text) override {
    const std::u16string_view view = text.View();
    if (view.size() >= m_capacity) return false;
    view.copy(m_value, view.size());
    m_value[view.size()] = u'\0';
    return true;
  }

private:
  char16_t* m_value;
  std::uint32_t m_capacity;
};

template <class Value>
class NumberForm : public ReadForm {
public:
  explicit NumberForm(Value* value)
      : ReadForm({.letter = letterOf<Value>,
                  .remoteLimit = sizeof(Value),
                  .namesParWhenMissing = std::same_as<Value, std::int64_t>}),
        m_value(value) {}
  bool IsNull() const override { return !m_value; }
  bool Read(RgNode& node, const char16_t* name) override { return client::readStored(node, name, *m_value); }
  bool Take(const RegistryGlance::Value& stored) override { return client::takeStored(stored, *m_value); }
  void* OpenBuffer() override { return m_value; }
  void CloseBuffer() override { client::normalise(*m_value); }

private:
  Value* m_value;
};

}  // namespace

bool Spc::GetPar(const char16_t* topic, const char16_t* par, UnicodeString& value, std::uint32_t* err,
                 std::int32_t noErrMsg) {
  StringForm form(value);
  return ReadPar(topic, par, form, err, noErrMsg);
}

bool Spc::GetPar(const char16_t* topic, const char16_t* par, char16_t* value, std::uint32_t capacity,
                 std::uint32_t* err, std::int32_t noErrMsg) {
  BufferForm form(value, capacity);
  return ReadPar(topic, par, form, err, noErrMsg);
}

bool Spc::GetPar(const char16_t* topic, const char16_t* par, std::int32_t* value, std::uint32_t* err,
                 std::int32_t noErrMsg) {
  NumberForm form(value);
  return ReadPar(topic, par, form, err, noErrMsg);
}

bool Spc::GetPar(const char16_t* topic, const char16_t* par, double* value, std::uint32_t* err,
                 std::int32_t noErrMsg) {
  NumberForm form(value);
  return ReadPar(topic, par, form, err, noErrMsg);
}

bool Spc::GetPar(const char16_t* topic, const char16_t* par, std::int64_t* value, std::uint32_t* err,
                 std::int32_t noErrMsg) {
  NumberForm form(value);
  return ReadPar(topic, par, form, err, noErrMsg);
}

bool Spc::GetPar(const char16_t* topic, const char16_t* par, bool* value, std::uint32_t* err,
                 std::int32_t noErrMsg) {
  NumberForm form(value);
  return ReadPar(topic, par, form, err, noErrMsg);
}

bool Spc::GetPar(const char16_t* topic, const SpcParS* list, std::uint32_t* err, std::int32_t noErrMsg) {
  std::uint32_t scratch;
  std::uint32_t& code = client::startCode(err, scratch);
  if (!list) return Fail(code, ERROR_INVALID_PARAMETER, topic, noErrMsg);
  for (; list->name; ++list) {
    if (!ReadEntry(topic, *list, code, noErrMsg)) return false;
  }
  return true;
}

bool Spc::ReadEntry(const char16_t* topic, const SpcParS& entry, std::uint32_t& code, std::int32_t noErrMsg) {
  switch (entry.type) {
    case letterOf<bool>:
      return GetPar(topic, entry.name, static_cast<bool*>(entry.value), &code, 0);
    case letterOf<double>:
      return GetPar(topic, entry.name, static_cast<double*>(entry.value), &code, 0);
    case letterOf<std::int32_t>:
      return GetPar(topic, entry.name, static_cast<std::int32_t*>(entry.value), &code, 0);
    case letterOf<UnicodeString>:
      return GetPar(topic, entry.name, static_cast<char16_t*>(entry.value), entry.size, &code, 0);
    case letterOf<std::int64_t>:
      return GetPar(topic, entry.name, static_cast<std::int64_t*>(entry.value), &code, 0);
    default:
      return Fail(code, typeUnknown, entry.name, noErrMsg);
  }
}

bool Spc::ReadPar(const char16_t* topic, const char16_t* par, ReadForm& form, std::uint32_t* err,
                  std::int32_t noErrMsg) {
  std::uint32_t scratch;
  std::uint32_t& code = client::startCode(err, scratch);
  const std::int32_t ownNoErrMsg = form.traits.alwaysReports ? 0 : noErrMsg;
  if (form.IsNull()) return Fail(code, ERROR_INVALID_PARAMETER, par, ownNoErrMsg);
  if (m_localAccess && ReadPlain(topic, par, form)) return true;

  // One look at the store serves all steps of a local read, which makes them a good deal cheaper. It ends
  // before anything that may take long, but for the trace of a failure.
  std::optional<RegistryView> view;
  if (m_localAccess) view.emplace(RegistryView::Extent::Key);
  RgNode node;
  const client::Placement placement = OpenPar(node, topic, par, code, ownNoErrMsg);
  if (placement == client::Placement::Failed) return false;
  if (placement == client::Placement::Remote) {
    view.reset();
    return ReadRemote(topic, par, form, code, noErrMsg);
  }
  if (!IsValidDataType(node, par, form.traits.letter, code, noErrMsg)) return false;

  std::int32_t failure = 0;
  if (!ReadResolved(node, form, noErrMsg, failure)) {
    if (form.traits.namesParWhenMissing && failure == valueMissing) {
      return Fail(code, failure, par, ownNoErrMsg);
    }
    return Fail(code, failure, node.GetNodePath(), ownNoErrMsg);
  }
  if (!form.traits.isText || !IsAttrDecrypt(node, noErrMsg)) return true;
  view.reset();
  // Only an overridden DecryptStr can make a text longer than it was.
  return form.SetText(DecryptStr(form.Text())) ||
         Fail(code, ERROR_MORE_DATA, node.GetNodePath(), ownNoErrMsg);
}

// Most parameters hold what is asked for as it is, and one look at the key answers. Whatever else there is to
// one, and every failure, is left to the steps of the whole read.
bool Spc::ReadPlain(const char16_t* topic, const char16_t* par, ReadForm& form) const {
  const std::u16string_view root = m_root.View();
  const std::size_t slash = support::indexOf(root, u'\\');
  if (slash == std::u16string_view::npos) return false;
  const client::ParameterPath path(root.substr(slash + 1), m_prcSpace.View(), topic, par);
  std::array<char16_t, 256> room;  // NOLINT(*-member-init): written as far as it is read
  if (path.Length() > room.size()) return false;
  path.Write(room.data());

  const RegistryView view(RegistryView::Extent::Key);
  RegistryGlance key(client::hiveNamed(root.substr(0, slash)), {room.data(), path.Length()});
  if (!key.IsKey() || letterAt(key, names().type) != form.traits.letter) return false;
  RegistryGlance::Value stored;
  if (form.traits.isText && key.Find(names().decrypt, stored)) return false;
  if (!key.Find(names().override, stored)) return key.Find(names().value, stored) && form.Take(stored);
  const UnicodeString* const name = OverrideNameFor(letterAt(key, names().override));
  return name && key.Find(RegistryName(name->View()), stored) && form.Take(stored);
}

bool Spc::ReadResolved(RgNode& node, ReadForm& form, std::int32_t noErrMsg, std::int32_t& failure) {
  UnicodeString overrideName;
  failure = GetOverrideName(node, overrideName, noErrMsg);
  if (failure != 0 && !client::hasNoOverride(failure)) return false;

  // The text and a null pointer would meet in a temporary text.
  const char16_t* const first = failure == 0 ? overrideName.operator const char16_t*() : nullptr;
  const char16_t* const names[] = {first, m_pVAL, m_pSUPERVAL};
  for (const char16_t* name : names) {
    if (!name) continue;
    if (form.Read(node, name)) return true;
    failure = node.GetRetCode();
    if (failure != ERROR_FILE_NOT_FOUND) return false;
  }
  failure = valueMissing;
  return false;
}

bool Spc::ReadRemote(const char16_t* topic, const char16_t* par, ReadForm& form, std::uint32_t& code,
                     std::int32_t noErrMsg) {
  const bool done = GetRemotePar(topic, par, form.OpenBuffer(), form.traits.letter, form.traits.remoteLimit,
                                 &code, noErrMsg);
  form.CloseBuffer();
  return done;
}
