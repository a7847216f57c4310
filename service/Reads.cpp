#include "service/Reads.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/registry/RegistryView.h"
#include "platform/regtext/RegTextExport.h"

namespace service {
namespace {

namespace key = telegram::key;

// Characters of one raw reply: what the client takes in one piece.
constexpr std::size_t pieceLength = 8192 / sizeof(char16_t);

std::size_t bytesOf(const UnicodeString& text) {
  return (static_cast<std::size_t>(text.GetLength()) + 1) * sizeof(char16_t);
}

Code openNode(const Tree& tree, const UnicodeString& named, Node& node) {
  const auto path = tree.Within(named);
  if (!path) return outsideTree;
  return node.Init(*path, false, false) ? accepted : node.GetRetCode();
}

Code describeChild(const UnicodeString& parent, const UnicodeString& name, Replies& replies) {
  Node child;
  if (!child.Init(parent + u"\\" + name, false, false)) return child.GetRetCode();
  const auto mark = [&child](const char16_t* flag) { return static_cast<std::int16_t>(child.Has(flag)); };
  const bool fits = replies.Add(bytesOf(name), [&](DfsBin& reply) {
    telegram::add(reply, key::nodeName, name);
    telegram::add(reply, key::subNodeCnt, static_cast<std::int32_t>(child.GetSubNodeCnt()));
    telegram::add(reply, key::valueCnt, static_cast<std::int32_t>(child.GetValCnt()));
    telegram::add(reply, key::readOnly, mark(Spc::m_pREADONLY));
    telegram::add(reply, key::replicate, mark(Spc::m_pREPLICATE));
  });
  return fits ? accepted : tooLarge;
}

struct Property {
  UnicodeString name;
  std::uint32_t registryType = 0;
  View value;
};

bool addProperty(Replies& replies, std::uint16_t nodeLetter, const Property& property) {
  const auto size = static_cast<std::int32_t>(property.value.size());
  return replies.Add(bytesOf(property.name) + property.value.size(), [&](DfsBin& reply) {
    telegram::add(reply, key::propName, property.name);
    telegram::add(reply, key::size, size);
    telegram::add(reply, key::regType, static_cast<std::int32_t>(property.registryType));
    telegram::add(reply, key::type, propertyLetter(nodeLetter, property.name, property.registryType));
    telegram::add(reply, key::binary, property.value.data(), size);
  });
}

}  // namespace

Code readParameter(Tree& tree, Fields& fields, Replies& replies) {
  // Kept by the thread, so that the read of a parameter asks for no memory.
  thread_local ParameterName name;
  thread_local OverrideNames overrides;
  thread_local Bytes value;
  fields.Take(key::topic, name.topic);
  fields.Take(key::par, name.par);
  const std::uint16_t letter = fields.Letter();
  fields.Take(key::oWorkstat, overrides.workstation);
  fields.Take(key::oUser, overrides.user);
  fields.Take(key::oInstance, overrides.instance);
  const std::int32_t noErrMsg = fields.Number(key::noErrMsg);
  if (!fields.IsComplete()) return badTelegram;
  const Form* const form = findForm(letter);
  if (!form || !form->read) {
    tree.SendDbgError(typeUnknown, name.par, noErrMsg);
    return typeUnknown;
  }
  tree.Select(overrides);
  if (const Code code = form->read(tree, name, noErrMsg, value); code != accepted) return code;
  const View found(value);
  const bool fits = replies.Add(found.size(), [found](DfsBin& reply) {
    telegram::add(reply, key::binary, found.data(), static_cast<std::int64_t>(found.size()));
  });
  return fits ? accepted : tooLarge;
}

Code listNodes(Tree& tree, Fields& fields, Replies& replies) {
  const UnicodeString named = fields.Text(key::nodePath);
  if (!fields.IsComplete()) return badTelegram;
  const RegistryView moment;
  Node node;
  if (const Code code = openNode(tree, named, node); code != accepted) return code;
  replies.Reserve(node.GetSubNodeCnt());
  UnicodeString name;
  while (node.GetNextSubNode(name)) {
    if (const Code code = describeChild(node.GetNodePath(), name, replies); code != accepted) return code;
  }
  return node.GetRetCode();
}

Code listProperties(Tree& tree, Fields& fields, Replies& replies) {
  const UnicodeString named = fields.Text(key::nodePath);
  if (!fields.IsComplete()) return badTelegram;
  const RegistryView moment;
  Node node;
  if (const Code code = openNode(tree, named, node); code != accepted) return code;
  const std::uint16_t nodeLetter = node.TypeLetter();
  replies.Reserve(node.GetValCnt());
  Bytes room(node.GetMaxValDataLen() + 1);
  Property property;
  for (;;) {
    auto size = static_cast<std::uint32_t>(room.size());
    if (!node.GetNextVal(property.name, property.registryType, room.data(), size)) return node.GetRetCode();
    property.value = View(room.data(), size);
    if (!addProperty(replies, nodeLetter, property)) return tooLarge;
  }
}

std::uint32_t countListed(Tree& tree, Fields& fields, telegram::Request request) {
  Node node;
  if (openNode(tree, fields.Text(key::nodePath), node) != accepted) return 0;
  return request == telegram::Request::GetChildNodes ? node.GetSubNodeCnt() : node.GetValCnt();
}

Code tellSpace(Tree& tree, Fields& /*fields*/, Replies& replies) {
  const UnicodeString& space = tree.GetPrcSpaceName();
  const bool fits =
      replies.Add(bytesOf(space), [&space](DfsBin& reply) { telegram::add(reply, key::prcSpace, space); });
  return fits ? accepted : tooLarge;
}

Code tellVersion(Tree& /*tree*/, Fields& /*fields*/, Replies& replies) {
  const std::uint32_t version = SpcGetVersion();
  UnicodeString text;
  text.Format(u"%d.%d.%d", static_cast<std::int32_t>(version >> 24U),
              static_cast<std::int32_t>(version >> 16U & 0xFFU),
              static_cast<std::int32_t>(version & 0xFFFFU));
  const bool fits =
      replies.Add(bytesOf(text), [&text](DfsBin& reply) { telegram::add(reply, key::masterVersion, text); });
  return fits ? accepted : tooLarge;
}

Code exportText(const Tree& tree, std::u16string& text) {
  const auto keep = [&text](std::u16string_view piece) {
    text += piece;
    return true;
  };
  return regtext::exportTree(tree.GetRootName().View(), keep).status;
}

bool takePiece(std::u16string_view text, std::size_t& position, Bytes& piece) {
  const std::size_t length = std::min(pieceLength, text.size() - position);
  if (length == 0) return false;
  piece.resize(length * sizeof(char16_t));
  std::memcpy(piece.data(), text.data() + position, piece.size());
  position += length;
  return true;
}

}  // namespace service
