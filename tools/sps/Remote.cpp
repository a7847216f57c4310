#include "tools/sps/Remote.h"

#include "platform/registry/registry.h"
#include "tools/sps/Commands.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Text.h"

namespace tool::remote {

namespace {

constexpr std::int32_t overrideIsNew = 14;
constexpr Master::Code parameterMissing = 11;
constexpr Master::Code valueMissing = 12;
constexpr Master::Code wrongType = 16;

constexpr const char* plainNow =
    "environment references in this value were expanded on reading, and are not any more: a master writes "
    "plain text; an import writes the other kind, hex(2)";

std::u16string pathOf(Context& context, const ParameterName& name) {
  return context.Parameters().ParPath(name.topic, name.par);
}

void expect(Context& context, Master::Code code, const std::string& verb, const ParameterName& name) {
  if (code != 0) context.RefuseParameter(verb, name, code);
}

// The library's lines about the request itself say nothing that the refusal does not.
void expect(Context& context, Master::Code code, const std::string& asked, const std::string& next) {
  context.Log().Clear();
  if (code != 0) context.Refuse(asked, code, next);
}

ParameterKey parameterKey(Context& context, const std::string& verb, const ParameterName& name) {
  const std::vector<StoredValue> values = remote::parameterValues(context, verb, name);
  return decodeParameterKey(context.Parameters(), pathOf(context, name), values);
}

// What the key has for the client's identity; a text that holds references is for the service to expand.
Master::Code resolve(Context& context, const ParameterName& name, const ParameterKey& key, Value& value) {
  const Content* content = readContent(context.Parameters(), key);
  if (content == nullptr) return valueMissing;
  const std::optional<Value> read = readValue(context.Parameters(), key, *content);
  if (!read) return ERROR_MORE_DATA;
  value = *read;
  if (!content->expandable || !context.IsMasterSpace()) return 0;
  return context.AtMaster().Read(name.topic, name.par, context.Parameters(), value);
}

}  // namespace

std::vector<StoredValue> parameterValues(Context& context, const std::string& verb,
                                         const ParameterName& name) {
  std::vector<StoredValue> values;
  const Master::Code code = context.AtMaster().Values(pathOf(context, name), values);
  expect(context, code == ERROR_FILE_NOT_FOUND ? parameterMissing : code, verb, name);
  context.ConfirmMaster();
  return values;
}

Value getValue(Context& context, const ParameterName& name) {
  const ParameterKey key = parameterKey(context, "read", name);
  Value value = declaredValue(context, "read", name, key);
  if (context.IsMasterSpace()) {
    expect(context, context.AtMaster().Read(name.topic, name.par, context.Parameters(), value), "read", name);
  } else {
    expect(context, resolve(context, name, key, value), "read", name);
  }
  return value;
}

namespace {

Master::Code writeValue(Context& context, const ParameterName& name, const ParameterKey& key,
                        const Value& stored, Written& written) {
  Client& client = context.Parameters();
  std::int32_t why = 0;
  written.where = writtenName(client, key, why);
  const bool isOverride = written.where != Spc::m_pVAL;
  const Content* content = readContent(client, key);
  const bool isNew = isOverride && (content == nullptr || !sameName(content->name, written.where));
  const Master::Code code = context.IsMasterSpace()
                                ? context.AtMaster().Write(name.topic, name.par, client, stored)
                                : context.AtMaster().PutValue(key.path, written.where, stored);
  context.Log().Clear();
  if (code == 0 && why != 0) client.Report(why, key.path);
  if (code == 0 && isNew) client.Report(overrideIsNew, key.path);
  written.notices = context.Log().Notices();
  return code;
}

std::u16string targetName(Context& context, const ParameterKey& key) {
  std::int32_t ignored = 0;
  return writtenName(context.Parameters(), key, ignored);
}

}  // namespace

Written setValue(Context& context, const ParameterName& name, const SetArguments& arguments) {
  if (arguments.expand) {
    throw WrongUsage(
        "a master writes no text whose references are expanded: --expand does not go with --server");
  }
  if (arguments.force) {
    throw WrongUsage("a master lets nobody write a read-only parameter: --force does not go with --server");
  }
  const ParameterKey key = parameterKey(context, "set", name);
  const Value declared = declaredValue(context, "set", name, key);
  Written written = parsedValue(declared, arguments);
  written.scrambled = mustScramble(letterOf(declared), arguments.encrypt, key.scrambled);
  const Value stored = written.scrambled ? context.Parameters().Scrambled(written.value) : written.value;
  Master& master = context.AtMaster();
  const bool isFirst = written.scrambled && !key.scrambled;
  if (isFirst) {
    refuseOtherTexts(context, name, key, arguments.super ? Spc::m_pSUPERVAL : targetName(context, key));
    expect(context, master.PutFlag(key.path, Spc::m_pDECRYPT), "set", name);
  }
  if (arguments.super) written.where = Spc::m_pSUPERVAL;
  const Master::Code code = arguments.super ? master.PutValue(key.path, written.where, stored)
                                            : writeValue(context, name, key, stored, written);
  // The value that stays is plain, and must be read as such.
  if (code != 0 && isFirst) master.RemoveValue(key.path, Spc::m_pDECRYPT);
  expect(context, code, "set", name);
  const Content* before = findContent(key, written.where);
  if (before != nullptr && before->expandable && !arguments.plain) written.notices.emplace_back(plainNow);
  return written;
}

namespace {

bool isForTexts(const Attribute& attribute) {
  return sameName(attribute.stored, Spc::m_pDECRYPT) || sameName(attribute.stored, Spc::m_pENCRYPT);
}

Master::Code putAttribute(Master& master, const std::u16string& path, const AttributeState& wanted) {
  const std::u16string stored = wanted.attribute->stored;
  if (!wanted.present) {
    const Master::Code code = master.RemoveValue(path, stored);
    return code == ERROR_FILE_NOT_FOUND ? 0 : code;
  }
  switch (wanted.attribute->kind) {
    case AttributeKind::Flag:
      return master.PutFlag(path, stored);
    case AttributeKind::Text:
      return master.PutValue(path, stored, wanted.text);
    default:
      return master.PutLetter(path, stored, wanted.letter);
  }
}

}  // namespace

void changeAttribute(Context& context, const std::string& verb, const ParameterName& name,
                     const AttributeState& wanted) {
  if (isForTexts(*wanted.attribute) && parameterKey(context, verb, name).letter != u'S') {
    context.RefuseParameter(verb, name, wrongType);
  }
  expect(context, putAttribute(context.AtMaster(), pathOf(context, name), wanted), verb, name);
}

namespace {

// The flags come first: the trail of changes shows no value under them. With "@readonly" nothing more can
// be changed.
Master::Code fillParameter(Master& master, const std::u16string& path, const NewParameter& parameter) {
  Master::Code code = 0;
  const auto put = [&](auto&& step) {
    if (code == 0) code = step();
  };
  const auto isReadOnly = [](const char16_t* flag) { return sameName(flag, Spc::m_pREADONLY); };
  for (const char16_t* flag : parameter.flags) {
    if (!isReadOnly(flag)) put([&] { return master.PutFlag(path, flag); });
  }
  for (const auto& text : parameter.texts) {
    put([&] { return master.PutValue(path, text.first, text.second); });
  }
  if (parameter.override != 0) {
    put([&] { return master.PutLetter(path, Spc::m_pOVERRIDE, parameter.override); });
  }
  if (parameter.super) put([&] { return master.PutValue(path, Spc::m_pSUPERVAL, *parameter.super); });
  if (parameter.value) put([&] { return master.PutValue(path, Spc::m_pVAL, *parameter.value); });
  put([&] { return master.PutLetter(path, Spc::m_pTYPE, parameter.letter); });
  for (const char16_t* flag : parameter.flags) {
    if (isReadOnly(flag)) put([&] { return master.PutFlag(path, flag); });
  }
  return code;
}

}  // namespace

void createParameter(Context& context, const ParameterName& name, const NewParameter& parameter) {
  Master& master = context.AtMaster();
  const std::u16string path = pathOf(context, name);
  bool existed = false;
  expect(context, master.MakeKey(path, existed), "create", name);
  if (existed) refuseExisting(context, name);
  const Master::Code code = fillParameter(master, path, parameter);
  if (code != 0) master.RemoveKey(context.Parameters().TopicPath(name.topic), name.par);
  expect(context, code, "create", name);
}

namespace {

std::vector<std::u16string> childNames(Context& context, const std::u16string& path, const std::string& what,
                                       const std::string& next) {
  std::vector<std::u16string> names;
  expect(context, context.AtMaster().Children(path, names), "list " + what, next);
  return names;
}

std::vector<std::u16string> parameterNames(Context& context, const std::u16string& topic) {
  return childNames(context, context.Parameters().TopicPath(topic),
                    "topic " + inQuotes(topic) + ' ' + context.InSpace(), context.Next({"ls"}));
}

// A parameter that went meanwhile, or that gives no value, is shown without one, as in a local list.
ListedParameter listParameter(Context& context, const ParameterName& name, bool reveal) {
  ListedParameter listed{name.par, 0, std::nullopt, false};
  Client& client = context.Parameters();
  std::vector<StoredValue> values;
  const std::u16string path = pathOf(context, name);
  const Master::Code found = context.AtMaster().Values(path, values);
  if (found == ERROR_FILE_NOT_FOUND) return listed;
  expect(context, found, "list", name);
  const ParameterKey key = decodeParameterKey(client, path, values);
  listed.letter = key.letter;
  if (!isTypeLetter(key.letter)) return listed;
  Value value = emptyValue(key.letter);
  if (resolve(context, name, key, value) != 0) return listed;
  listed.masked = key.letter == u'S' && !reveal && key.scrambled;
  listed.value = std::move(value);
  return listed;
}

}  // namespace

std::vector<std::u16string> spaceNames(Context& context) {
  return childNames(context, context.Parameters().RootPath(), "the process spaces",
                    context.Next({"import", "FILE"}));
}

std::vector<std::u16string> topicNames(Context& context) {
  Client& client = context.Parameters();
  return childNames(context, client.SpacePath(), "space " + inQuotes(client.GetPrcSpaceName().View()),
                    context.Next({"ls"}, {{"--spaces"}}));
}

ListedTopic listTopic(Context& context, const std::u16string& topic, bool reveal) {
  ListedTopic listed{topic, {}};
  for (const std::u16string& par : parameterNames(context, topic)) {
    listed.parameters.push_back(listParameter(context, {topic, par}, reveal));
  }
  return listed;
}

Target topicTarget(Context& context, const std::u16string& topic) {
  Client& client = context.Parameters();
  const std::string label = "topic " + inQuotes(topic) + ' ' + context.InSpace();
  std::vector<std::u16string> names;
  expect(context, context.AtMaster().Children(client.TopicPath(topic), names), "remove " + label,
         context.Next({"ls"}));
  context.ConfirmMaster();
  return {client.SpacePath(), topic, label, " with " + counted(names.size(), "parameter")};
}

void removeKey(Context& context, const Target& target) {
  constexpr Master::Code readOnly = 15;
  const Master::Code code = context.AtMaster().RemoveKey(target.parent, target.name);
  context.Log().Clear();
  if (code == readOnly) context.Parameters().Report(readOnly, target.parent + u'\\' + target.name);
  if (code != 0) context.Refuse("remove " + target.label, code, {});
}

void removeValue(Context& context, const ParameterName& name, const std::u16string& value) {
  expect(context, context.AtMaster().RemoveValue(pathOf(context, name), value),
         "remove the value " + inQuotes(value) + " of", name);
}

}  // namespace tool::remote
