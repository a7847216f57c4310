#include "tools/sps/Explain.h"

#include <algorithm>

#include "platform/registry/registry.h"
#include "tools/sps/Attributes.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

constexpr std::int32_t unknownOverride = 7;
constexpr std::int32_t parameterMissing = 11;
constexpr std::int32_t valueMissing = 12;
constexpr std::int32_t typeDiffers = 16;

std::string utf8(const char16_t* text) {
  return toUtf8(text);
}

std::string typeText(char16_t letter) {
  return letterText(letter) + ", " + typeName(letter);
}

// The number of the trace that an empty name of that kind leaves.
std::int32_t nameMissing(char16_t letter) {
  return letter == u'W' ? 8 : letter == u'U' ? 9 : 10;
}

const char* optionFor(char16_t letter) {
  return letter == u'W' ? "--workstation" : letter == u'U' ? "--user" : "--instance";
}

// Walks the steps of a read; each returns whether the walk goes on to the next.
class Walk {
public:
  Walk(Client& client, Explanation& result) : m_client(client), m_result(result) {}

  bool Key(const std::u16string& path) {
    if (m_node.Init(path.c_str(), false, false)) return Pass("key", toUtf8(path));
    if (m_node.GetRetCode() != ERROR_FILE_NOT_FOUND) return Fail("key", m_node.GetRetCode());
    return Fail("key", parameterMissing, "there is no key " + oneLine(path));
  }

  bool Type() {
    const std::string name = utf8(Spc::m_pTYPE);
    char16_t declared = 0;
    const std::int32_t code = readLetter(m_node, Spc::m_pTYPE, declared);
    if (code == ERROR_FILE_NOT_FOUND) return Fail(name, code, "missing: the parameter has no type");
    if (code != ERROR_SUCCESS) return Fail(name, code);
    if (m_result.letter == 0) m_result.letter = declared;
    if (!isTypeLetter(declared)) return Fail(name, typeDiffers, typeText(declared));
    if (declared == m_result.letter) return Pass(name, typeText(declared));
    return Fail(name, typeDiffers, typeText(declared) + "; the read asks for " + typeText(m_result.letter));
  }

  // Gives the name of the override value, empty where there is none to ask for.
  bool Override(std::u16string& value) {
    const std::string name = utf8(Spc::m_pOVERRIDE);
    char16_t letter = 0;
    const std::int32_t code = readLetter(m_node, Spc::m_pOVERRIDE, letter);
    if (code == ERROR_FILE_NOT_FOUND) return GoOn(name, Outcome::Absent, "the parameter has no override");
    if (code != ERROR_SUCCESS) return Fail(name, code);
    const UnicodeString* identity = m_client.NameForOverride(letter);
    if (identity == nullptr) {
      return GoOn(name, Outcome::Ignored, letterText(letter) + " is no kind of override", unknownOverride);
    }
    const std::string kind = overrideKind(letter);
    if (identity->IsEmpty()) {
      return GoOn(name, Outcome::Ignored,
                  letterText(letter) + ", by " + kind + ", and none is given (" + optionFor(letter) + ')',
                  nameMissing(letter));
    }
    value = identity->View();
    return Pass(name, letterText(letter) + ", by " + kind);
  }

  bool Candidate(const std::u16string& name, const char* absent, bool last = false) {
    Value value = emptyValue(m_result.letter);
    if (readStored(m_node, name.c_str(), value)) return Take(name, std::move(value));
    const std::int32_t code = m_node.GetRetCode();
    if (code != ERROR_FILE_NOT_FOUND) return Fail(oneLine(name), code);
    if (last) return Fail(oneLine(name), valueMissing, absent);
    return GoOn(oneLine(name), Outcome::Absent, absent);
  }

  void Decrypt() {
    const std::string name = utf8(Spc::m_pDECRYPT);
    if (!m_result.value) return NotAsked(name);
    auto* text = std::get_if<std::u16string>(&*m_result.value);
    if (text == nullptr) return Note({name, Outcome::NotAsked, "only texts are scrambled", 0});
    if (!m_client.IsScrambled(m_node)) return Note({name, Outcome::Absent, "the text is stored plain", 0});
    *text = m_client.Plain(*text);
    m_result.scrambled = true;
    Note({name, Outcome::Passed, "the text is stored scrambled", 0});
  }

  void NotAsked(const std::string& name) { Note({name, Outcome::NotAsked, "", 0}); }

private:
  void Note(Step step) { m_result.steps.push_back(std::move(step)); }

  bool Pass(const std::string& name, const std::string& detail) {
    return GoOn(name, Outcome::Passed, detail);
  }
  bool GoOn(const std::string& name, Outcome outcome, const std::string& detail, std::int32_t code = 0) {
    Note({name, outcome, detail, code});
    return true;
  }
  bool Fail(const std::string& name, std::int32_t code) { return Fail(name, code, registryText(code)); }
  bool Fail(const std::string& name, std::int32_t code, const std::string& detail) {
    m_result.err = static_cast<std::uint32_t>(code);
    Note({name, Outcome::Failed, detail, code});
    return false;
  }
  bool Take(const std::u16string& name, Value value) {
    m_result.value = std::move(value);
    m_result.takenFrom = name;
    Note({oneLine(name), Outcome::Taken, "", 0});
    return false;
  }

  Client& m_client;
  Explanation& m_result;
  RgNode m_node;
};

bool walkValues(Walk& walk, const std::u16string& overrideName) {
  if (!overrideName.empty() && !walk.Candidate(overrideName, "no value of this name")) return false;
  if (!walk.Candidate(Spc::m_pVAL, "the parameter has no value")) return false;
  return walk.Candidate(Spc::m_pSUPERVAL, "and no super value either", true);
}

// The later steps appear in every explanation, so that its shape is the same.
void addUnreached(Walk& walk, const Explanation& result) {
  for (const char16_t* name : {Spc::m_pTYPE, Spc::m_pOVERRIDE, Spc::m_pVAL, Spc::m_pSUPERVAL}) {
    const auto named = [&](const Step& step) { return step.name == utf8(name); };
    if (std::none_of(result.steps.begin(), result.steps.end(), named)) walk.NotAsked(utf8(name));
  }
}

}  // namespace

const char* outcomeWord(Outcome outcome) {
  switch (outcome) {
    case Outcome::Passed:
      return "found";
    case Outcome::Absent:
      return "absent";
    case Outcome::Ignored:
      return "ignored";
    case Outcome::Taken:
      return "taken";
    case Outcome::Failed:
      return "fails";
    case Outcome::NotAsked:
      break;
  }
  return "not asked";
}

Explanation explainRead(Client& client, const std::u16string& topic, const std::u16string& par,
                        char16_t letter) {
  Explanation result;
  result.letter = letter;
  Walk walk(client, result);
  std::u16string overrideName;
  if (walk.Key(client.ParPath(topic, par)) && walk.Type() && walk.Override(overrideName)) {
    walkValues(walk, overrideName);
  }
  addUnreached(walk, result);
  walk.Decrypt();
  return result;
}

}  // namespace tool
