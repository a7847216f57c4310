#include "service/Changes.h"

#include <utility>

#include "platform/regtext/RegTextImport.h"
#include "platform/support/Trace.h"
#include "platform/support/Utf.h"
#include "src/spcForms.h"

namespace service {
namespace {

namespace key = telegram::key;

bool isScrambled(Node& node) {
  return node.Has(Spc::m_pENCRYPT) || node.Has(Spc::m_pDECRYPT);
}

Claim takeClaim(Fields& fields, bool withApplication) {
  Claim claim{fields.Text(key::user), fields.Text(key::ws), {}};
  if (withApplication) claim.app = fields.Text(key::app);
  return claim;
}

// What the telegrams that name a node by its path have in common.
class NodeChange : public Change {
public:
  Code Check(Tree& tree, Node& node) final {
    if (!m_complete) return badTelegram;
    auto path = tree.Within(m_named);
    if (!path) return outsideTree;
    deed.path = *path;
    replies.Clear();
    return CheckAt(std::move(*path), node);
  }

protected:
  explicit NodeChange(Fields& fields) : m_named(fields.Text(key::nodePath)) { deed.path = m_named; }
  void EndFields(const Fields& fields) { m_complete = fields.IsComplete(); }

private:
  virtual Code CheckAt(UnicodeString path, Node& node) = 0;

  UnicodeString m_named;
  bool m_complete = false;
};

// Request 1.
class SetParameter : public Change {
public:
  explicit SetParameter(Fields& fields) {
    deed.claim = takeClaim(fields, true);
    m_name = {fields.Text(key::topic), fields.Text(key::par)};
    deed.path = m_name.topic + u"\\" + m_name.par;  // for the trail of what never comes to the tree
    m_overrides = {fields.Text(key::oWorkstat), fields.Text(key::oUser), fields.Text(key::oInstance)};
    deed.letter = fields.Letter();
    deed.value = fields.Binary(key::binary);
    EndFields(fields);
  }

  Code Check(Tree& tree, Node& node) override {
    deed.path = tree.PathOf(m_name.topic, m_name.par);
    deed.property = UnicodeString();  // of a first try whose group was taken back, as is the next
    deed.mayShow = false;
    if (!m_complete) return badTelegram;
    if (const Code code = tree.OpenParameter(node, deed.path); code != accepted) return code;
    deed.mayShow = !isScrambled(node);
    const Code code = CheckValue(node);
    if (code == accepted) return tree.CheckType(node, deed.letter);
    tree.Report(code, deed.path);
    return code;
  }

  Code Make(Tree& tree, Node& node) override {
    tree.Select(m_overrides);
    UnicodeString written;
    const Code code = findForm(deed.letter)->write(tree, node, *deed.value, written);
    if (code == accepted) deed.property = std::move(written);
    return code;
  }

private:
  void EndFields(const Fields& fields) { m_complete = fields.IsComplete(); }

  Code CheckValue(Node& node) const {
    if (node.Has(Spc::m_pREADONLY)) return isReadOnly;
    const Form* const form = findForm(deed.letter);
    if (!form || !form->write) return typeUnknown;
    // Of the parameter's own type first: of another one, the size says nothing.
    const std::uint16_t declared = node.TypeLetter();
    if (declared != 0 && declared != deed.letter) return wrongType;
    return form->fits(*deed.value) ? accepted : badTelegram;
  }

  ParameterName m_name;
  OverrideNames m_overrides;
  bool m_complete = false;
};

// Request 4. Levels that are missing above the node are made with it.
class SetNode : public NodeChange {
public:
  explicit SetNode(Fields& fields) : NodeChange(fields) {
    deed.claim = takeClaim(fields, false);
    EndFields(fields);
  }

  Code Make(Tree& /*tree*/, Node& node) override {
    if (!node.Init(deed.path, true, false)) return node.GetRetCode();
    const std::int16_t existed = node.IsNodeCreated() ? 0 : 1;
    replies.Add(0, [existed](DfsBin& reply) { telegram::add(reply, key::chkExist, existed); });
    return accepted;
  }

private:
  Code CheckAt(UnicodeString /*path*/, Node& /*node*/) override { return accepted; }
};

// Whether a node may go, with all below it.
Code checkDeletion(const UnicodeString& path) {
  Node node;
  if (!node.Init(path, false, false)) return node.GetRetCode();
  if (node.Has(Spc::m_pREADONLY)) return isReadOnly;
  UnicodeString name;
  while (node.GetNextSubNode(name)) {
    if (const Code code = checkDeletion(path + u"\\" + name); code != accepted) return code;
  }
  return accepted;
}

// Request 5: the named node below the path, with all below it, unless one of them is read-only.
class DeleteNode : public NodeChange {
public:
  explicit DeleteNode(Fields& fields) : NodeChange(fields), m_child(fields.Text(key::nodeName)) {
    deed.claim = takeClaim(fields, false);
    deed.path += u"\\" + m_child;
    EndFields(fields);
  }

  Code Make(Tree& /*tree*/, Node& node) override {
    node.DelSubTree(m_child);
    return node.GetRetCode();
  }

private:
  Code CheckAt(UnicodeString path, Node& node) override {
    if (m_child.IsEmpty() || m_child.Find(u'\\') >= 0) return badTelegram;
    deed.path = path + u"\\" + m_child;
    if (!node.Init(std::move(path), false, false)) return node.GetRetCode();
    return checkDeletion(deed.path);
  }

  UnicodeString m_child;
};

// Requests 6 and 9.
class SetProperty : public NodeChange {
public:
  SetProperty(Fields& fields, bool isReplicated) : NodeChange(fields), m_isReplicated(isReplicated) {
    deed.claim = takeClaim(fields, isReplicated);
    if (isReplicated) {
      deed.replicator = fields.Text(key::replicator);
      deed.messageId = fields.Number(key::msId);
    }
    deed.property = fields.Text(key::propName);
    m_letter = fields.Number(key::type);
    deed.letter = m_letter == static_cast<std::uint16_t>(m_letter) ? static_cast<std::uint16_t>(m_letter)
                                                                   : std::uint16_t{0};
    deed.value = fields.SizedBinary();
    m_replace = fields.Flag(key::replace);
    EndFields(fields);
  }

  Code Make(Tree& /*tree*/, Node& node) override {
    const Form* const form = findForm(m_letter);
    if (!form) return typeUnknown;
    const auto size = static_cast<std::uint32_t>(deed.value->size());
    const std::uint32_t type = partOf(deed.property) == Part::Letter ? REG_BINARY : form->registryType;
    return node.SetValue(deed.property, deed.value->data(), size, type) ? accepted : node.GetRetCode();
  }

private:
  Code CheckAt(UnicodeString path, Node& node) override {
    deed.mayShow = false;  // a first try may have found otherwise
    if (!node.Init(std::move(path), false, false)) {
      return node.GetRetCode() == nodeMissing && m_isReplicated ? parameterMissing : node.GetRetCode();
    }
    deed.mayShow = !isScrambled(node);
    const Form* const form = findForm(m_letter);
    return form ? CheckValue(node, *form) : typeUnknown;
  }

  Code CheckValue(Node& node, const Form& form) const {
    if (node.Has(Spc::m_pREADONLY)) return isReadOnly;
    if (deed.property.IsEmpty()) return badTelegram;
    const std::uint16_t declared = node.TypeLetter();
    const Part part = partOf(deed.property);
    if (part == Part::Value && declared != 0 && declared != form.letter) return wrongType;
    if (!IsSound(part, form, declared)) return badTelegram;
    return m_replace || !node.Has(deed.property) ? accepted : alreadyExists;
  }

  // Whether the bytes can be read again as what they are to be.
  bool IsSound(Part part, const Form& form, std::uint16_t declared) const {
    if (part == Part::Letter) return deed.value->size() == sizeof(char16_t);
    // Where there is no type yet, as in the keys above the parameters, letters B and D stand for any bytes.
    const bool isBytes = form.registryType == REG_BINARY;
    return (isBytes && (declared == 0 || part != Part::Value)) || form.fits(*deed.value);
  }

  std::int32_t m_letter;
  bool m_replace;
  bool m_isReplicated;
};

// Request 7. A parameter that is read-only loses nothing but that mark, and that by an administrator.
class DeleteProperty : public NodeChange {
public:
  explicit DeleteProperty(Fields& fields) : NodeChange(fields) {
    deed.property = fields.Text(key::propName);
    deed.claim = takeClaim(fields, false);
    EndFields(fields);
  }

  Code Make(Tree& /*tree*/, Node& node) override {
    return node.DelValue(deed.property) ? accepted : node.GetRetCode();
  }

private:
  Code CheckAt(UnicodeString path, Node& node) override {
    if (deed.property.IsEmpty()) return badTelegram;
    if (!node.Init(std::move(path), false, false)) return node.GetRetCode();
    const bool isMark = isNamed(deed.property, Spc::m_pREADONLY);
    if (node.Has(Spc::m_pREADONLY) && !(isMark && byAdministrator)) return isReadOnly;
    return node.Has(deed.property) ? accepted : node.GetRetCode();
  }
};

class Import : public Change {
public:
  explicit Import(std::u16string text) : m_text(std::move(text)) { deed.characters = m_text.size(); }

  bool IsLarge() const override { return true; }

  Code Check(Tree& tree, Node& /*node*/) override {
    deed.path = tree.GetRootName();
    return accepted;
  }

  Code Make(Tree& tree, Node& /*node*/) override {
    const regtext::ImportResult result =
        regtext::importText(m_text, {.within = std::u16string(tree.GetRootName().View())});
    if (!result.Done()) return Refuse(result);
    deed.outcome = std::to_string(result.keys) + " keys, " + std::to_string(result.values) + " values, " +
                   std::to_string(result.deletedKeys) + " keys deleted, " +
                   std::to_string(result.deletedValues) + " values deleted";
    return accepted;
  }

private:
  // A fault of the text has no number of its own; its place goes into trace and trail. What stands there may
  // be a value that the trail must not show.
  Code Refuse(const regtext::ImportResult& result) {
    const std::string message = result.Message();
    deed.outcome =
        result.fault && result.status == 0 ? "a fault in line " + std::to_string(result.fault.line) : message;
    _DbgSetLine(u"service\\Changes", __LINE__, u'W');
    _DbgOut(u"Import refused: %s", UnicodeString(message.c_str()));
    return result.status != 0 ? result.status : badTelegram;
  }

  std::u16string m_text;
};

}  // namespace

std::unique_ptr<Change> makeChange(telegram::Request request, View telegram) {
  using telegram::Request;
  Fields fields(telegram);
  switch (request) {
    case Request::SetSpSrvPar:
      return std::make_unique<SetParameter>(fields);
    case Request::SetNode:
      return std::make_unique<SetNode>(fields);
    case Request::DeleteNode:
      return std::make_unique<DeleteNode>(fields);
    case Request::SetProperty:
      return std::make_unique<SetProperty>(fields, false);
    case Request::DeleteProperty:
      return std::make_unique<DeleteProperty>(fields);
    case Request::ReplicateSpSrvPar:
      return std::make_unique<SetProperty>(fields, true);
    default:
      return nullptr;
  }
}

std::unique_ptr<Change> makeImport(std::u16string text) {
  return std::make_unique<Import>(std::move(text));
}

}  // namespace service
