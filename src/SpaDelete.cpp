// Deletion: the registry deletes keys without sub keys only, so a level is emptied from below first.
#include <utility>

#include "src/SpaLevel.h"

// The deletion of an entry moves those behind it up, so the walk takes the first one that is left each time.
template <class Prepare>
bool Spa::EmptyKey(RgNode& walker, Depth below, Prepare prepare) {
  walker.GoFirstSubNode();
  UnicodeString name;
  while (walker.GetNextSubNode(name)) {
    if (!prepare(name)) return false;
    CloseIfNamed(below, name);
    if (!walker.DelSubNode(name)) return Fail(walker.GetRetCode());
    walker.GoFirstSubNode();
  }
  return true;
}

bool Spa::EmptyTopic(RgNode& topic) {
  return EmptyKey(topic, Parameter, [](const UnicodeString&) { return true; });
}

bool Spa::EmptyPrcSpace(RgNode& prcSpace, UnicodeString path) {
  path += u'\\';
  RgNode topic;
  return EmptyKey(prcSpace, Topic, [&](const UnicodeString& name) {
    return topic.Init(path + name, false, false) ? EmptyTopic(topic) : Fail(topic.GetRetCode());
  });
}

// A bare name, in whichever branch the level stands.
void Spa::CloseIfNamed(Depth depth, const UnicodeString& name) {
  if (name.Compare(this->*levels[depth].name) == 0) (this->*levels[depth].node).reset();
}

// The names say what is emptied; the level above says where the last key goes.
bool Spa::DelKey(Depth depth, const UnicodeString& name) {
  const auto above = static_cast<Depth>(depth - 1);
  if (!NodeOf(above)) return false;
  if (!RgNode::IsSubNodeName(name)) return Fail(ERROR_FILE_NOT_FOUND);
  if (depth != Parameter) {
    const UnicodeString path = PathAbove(depth) + name;
    RgNode walker;
    if (!walker.Init(path, false, false)) return Fail(walker.GetRetCode());
    if (!(depth == PrcSpace ? EmptyPrcSpace(walker, path) : EmptyTopic(walker))) return false;
    CloseIfNamed(depth, name);
  }
  return Run(above, [&](RgNode& node) { return node.DelSubNode(name); });
}

bool Spa::DelPrcSpace(const char16_t* prcSpace) {
  return DelKey(PrcSpace, prcSpace);
}

bool Spa::DelTopic(const char16_t* topic) {
  return DelKey(Topic, topic);
}

bool Spa::DelParameter(const char16_t* par) {
  return DelKey(Parameter, par);
}

bool Spa::DelParProperty(const char16_t* name) {
  return Run(Parameter, [&](RgNode& node) { return node.DelValue(name); });
}
