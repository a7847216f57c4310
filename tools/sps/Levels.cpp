#include "tools/sps/Levels.h"

#include "tools/sps/Failure.h"
#include "tools/sps/Text.h"

namespace tool {

Place Place::Below(const std::u16string& name) const {
  Place below = *this;
  below.names.push_back(name);
  return below;
}

std::u16string Place::Path() const {
  std::u16string path;
  for (const std::u16string& name : names) path += (path.empty() ? u"" : u"\\") + name;
  return path;
}

std::string Place::Label() const {
  if (names.empty()) return "the process spaces";
  std::string space = "space " + inQuotes(names[0]);
  if (names.size() == 1) return space;
  if (names.size() == 2) return "topic " + inQuotes(names[1]) + " in " + space;
  if (names.size() > 3) return "key " + inQuotes(Path());
  return "parameter " + inQuotes(names[1] + u'/' + names[2]) + " in " + space;
}

bool LevelParameter::IsReadOnly() const {
  return findStored(properties, Spc::m_pREADONLY) != nullptr;
}

std::u16string spaceName(Context& context) {
  return std::u16string(context.Parameters().GetPrcSpaceName().View());
}

std::u16string fullPath(Context& context, const Place& place) {
  const std::u16string root = context.Parameters().RootPath();
  return place.names.empty() ? root : root + u'\\' + place.Path();
}

std::string Levels::NextFor(const Place& place) const {
  switch (place.names.size()) {
    case 0:
      return m_context.Next({"import", "FILE"});
    case 1:
      return m_context.Next({"spaces"});
    case 2:
      return m_context.Next({"topics"});
    default:
      return m_context.Next({"params", toUtf8(place.names[1])});
  }
}

// What the library traced on the way is about empty lists, or says no more than the code.
void Levels::Expect(std::int64_t code, const Place& place) {
  m_context.Log().Clear();
  if (code != 0) m_context.Refuse(m_verb + ' ' + place.Label(), code, NextFor(place));
}

void Levels::Open(const Place& place) {
  const std::u16string root = m_context.Parameters().RootPath();
  const auto name = [&](std::size_t depth) { return place.names[depth].c_str(); };
  bool opened = false;
  switch (place.names.size()) {
    case 0:
      opened = m_spa.GetRootAcc(root.c_str(), false, false);
      break;
    case 1:
      opened = m_spa.GetPrcSpaceAcc(root.c_str(), name(0), false, false);
      break;
    case 2:
      opened = m_spa.GetTopicAcc(root.c_str(), name(0), name(1), false, false);
      break;
    default:
      opened = m_spa.GetParAcc(root.c_str(), name(0), name(1), name(2), false, false);
  }
  Expect(opened ? 0 : m_spa.GetLastError(), place);
}

std::vector<std::u16string> Levels::Names(const Place& place) {
  if (m_context.IsRemote()) return RemoteNames(place);
  static constexpr bool (Spa::*getNext[])(UnicodeString&) = {&Spa::GetNextPrcSpace, &Spa::GetNextTopic,
                                                             &Spa::GetNextPar};
  Open(place);
  std::vector<std::u16string> names;
  UnicodeString name;
  while ((m_spa.*getNext[place.names.size()])(name)) names.emplace_back(name.View());
  Expect(m_spa.GetLastError(), place);
  return names;
}

std::vector<std::u16string> Levels::RemoteNames(const Place& place) {
  std::vector<std::u16string> names;
  Expect(m_context.AtMaster().Children(fullPath(m_context, place), names), place);
  return names;
}

LevelParameter Levels::Parameter(const Place& place) {
  if (m_context.IsRemote()) return RemoteParameter(place);
  Open(place);
  RgNode& node = m_spa.ParNode();
  return {place.names.back(), storedValues(node), node.GetSubNodeCnt() != 0};
}

LevelParameter Levels::RemoteParameter(const Place& place) {
  LevelParameter parameter{place.names.back(), {}, false};
  Expect(m_context.AtMaster().Values(fullPath(m_context, place), parameter.properties), place);
  return parameter;
}

LevelTopic Levels::Topic(const Place& place) {
  LevelTopic topic{place.names.back(), {}};
  for (const std::u16string& name : Names(place)) topic.parameters.push_back(Parameter(place.Below(name)));
  return topic;
}

LevelSpace Levels::Space(const Place& place) {
  LevelSpace space{place.names.back(), {}};
  for (const std::u16string& name : Names(place)) space.topics.push_back(Topic(place.Below(name)));
  return space;
}

}  // namespace tool
