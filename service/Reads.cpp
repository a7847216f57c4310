#include "service/Reads.h"

#include <algorithm>
#include <string>

#include "platform/registry/RegistryView.h"
#include "platform/regtext/RegTextExport.h"

namespace service {
namespace {

namespace key = telegram::key;

// Bytes of one raw reply: what the client takes in one piece.
constexpr std::size_t pieceBytes = 8192;

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
  return replies.Add(bytesOf(name), [&](DfsBin& reply) {
    telegram::add(reply, key::nodeName, name);
    telegram::add(reply, key::subNodeCnt, static_cast<std::int32_t>(child.GetSubNodeCnt()));
    telegram::add(reply, key::valueCnt, static_cast<std::int32_t>(child.GetValCnt()));
    telegram::add(reply, key::readOnly, mark(Spc::m_pREADONLY));
    telegram::add(reply, key::replicate, mark(Spc::m_pREPLICATE));
  });
}

struct Property {
  UnicodeString name;
  std::uint32_t registryType = 0;
  View value;
};

Code addProperty(Replies& replies, std::uint16_t nodeLetter, const Property& property) {
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
  return replies.Add(found.size(), [found](DfsBin& reply) {
    telegram::add(reply, key::binary, found.data(), static_cast<std::int64_t>(found.size()));
  });
}

Code listNodes(Tree& tree, Fields& fields, Replies& replies) {
  const UnicodeString named = fields.Text(key::nodePath);
  if (!fields.IsComplete()) return badTelegram;
  const RegistryView moment;
  Node node;
  if (const Code code = openNode(tree, named, node); code != accepted) return code;
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
  Bytes room(node.GetMaxValDataLen() + 1);
  Property property;
  for (;;) {
    auto size = static_cast<std::uint32_t>(room.size());
    if (!node.GetNextVal(property.name, property.registryType, room.data(), size)) return node.GetRetCode();
    property.value = View(room.data(), size);
    if (const Code code = addProperty(replies, nodeLetter, property); code != accepted) return code;
  }
}

Listed measureListed(Tree& tree, Fields& fields, telegram::Request request) {
  Node node;
  if (openNode(tree, fields.Text(key::nodePath), node) != accepted) return {};
  if (request == telegram::Request::GetChildNodes) return {node.GetSubNodeCnt(), 0};
  return {node.GetValCnt(), node.GetMaxValDataLen()};
}

Code tellSpace(Tree& tree, Fields& /*fields*/, Replies& replies) {
  const UnicodeString& space = tree.GetPrcSpaceName();
  return replies.Add(bytesOf(space), [&space](DfsBin& reply) { telegram::add(reply, key::prcSpace, space); });
}

Code tellVersion(Tree& /*tree*/, Fields& /*fields*/, Replies& replies) {
  const std::uint32_t version = SpcGetVersion();
  UnicodeString text;
  text.Format(u"%d.%d.%d", static_cast<std::int32_t>(version >> 24U),
              static_cast<std::int32_t>(version >> 16U & 0xFFU),
              static_cast<std::int32_t>(version & 0xFFFFU));
  return replies.Add(bytesOf(text),
                     [&text](DfsBin& reply) { telegram::add(reply, key::masterVersion, text); });
}

Code TextPieces::Add(std::u16string_view text) {
  View bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size() * sizeof(char16_t));
  while (!bytes.empty()) {
    if (m_pieces.empty() || m_pieces.back().size() == pieceBytes) {
      if (const Code code = m_share->Take(pieceBytes); code != accepted) return code;
      m_pieces.emplace_back().reserve(pieceBytes);
    }
    Bytes& last = m_pieces.back();
    const View head = bytes.first(std::min(bytes.size(), pieceBytes - last.size()));
    last.insert(last.end(), head.begin(), head.end());
    bytes = bytes.subspan(head.size());
  }
  return accepted;
}

bool TextPieces::Take(Bytes& piece) {
  if (m_pieces.empty()) return false;
  piece = std::move(m_pieces.front());
  m_pieces.pop_front();
  m_share->Give(pieceBytes);
  return true;
}

Code exportText(const Tree& tree, TextPieces& pieces) {
  Code refusal = accepted;
  const auto keep = [&](std::u16string_view text) {
    refusal = pieces.Add(text);
    return refusal == accepted;
  };
  const Code code = regtext::exportTree(tree.GetRootName().View(), keep).status;
  return code == accepted ? refusal : code;
}

}  // namespace service
