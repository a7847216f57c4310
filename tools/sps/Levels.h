// The tree of parameters level by level, as it is stored, here or at a master.
#pragma once

#include <string>
#include <vector>

#include "src/Spa.h"
#include "tools/sps/Context.h"
#include "tools/sps/ParameterKey.h"

namespace tool {

// The names from the process space down to what is meant: none is the root, three are a parameter.
struct Place {
  std::vector<std::u16string> names;

  Place Below(const std::u16string& name) const;
  std::u16string Path() const;  // "Default\Pump\Speed"
  std::string Label() const;    // parameter "Pump/Speed" in space "Default"
};

struct LevelParameter {
  std::u16string name;
  std::vector<StoredValue> properties;
  bool hasKeys = false;  // below its own, which no parameter should have; not known of a master

  bool IsReadOnly() const;
};

struct LevelTopic {
  std::u16string name;
  std::vector<LevelParameter> parameters;
};

struct LevelSpace {
  std::u16string name;
  std::vector<LevelTopic> topics;
};

// All of it in the store's order. Refused, "cannot VERB ...", where a place does not exist or a list breaks
// off. Lists of a master count once the context has confirmed it. Whoever wants one moment of the store here
// holds a RegistryView.
class Levels {
public:
  Levels(Context& context, std::string verb) : m_context(context), m_verb(std::move(verb)) {}

  bool IsRemote() const { return m_context.IsRemote(); }
  // What lies below the root, a space or a topic; at a master also below any other key.
  std::vector<std::u16string> Names(const Place& place);
  // At a master also of any other key.
  LevelParameter Parameter(const Place& place);
  LevelTopic Topic(const Place& place);
  LevelSpace Space(const Place& place);

private:
  // The parameter's key is open to the tool: Spa does not tell the registry types of its values.
  class Local : public Spa {
  public:
    RgNode& ParNode() { return *m_pParNode; }
  };

  void Open(const Place& place);
  std::vector<std::u16string> RemoteNames(const Place& place);
  LevelParameter RemoteParameter(const Place& place);
  void Expect(std::int64_t code, const Place& place);
  std::string NextFor(const Place& place) const;

  Context& m_context;
  std::string m_verb;
  Local m_spa;
};

// The process space that the command works in.
std::u16string spaceName(Context& context);

// The full path of the place's key.
std::u16string fullPath(Context& context, const Place& place);

}  // namespace tool
