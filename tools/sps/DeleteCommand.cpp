#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "platform/registry/RegistryTransaction.h"
#include "platform/registry/RegistryView.h"
#include "tools/sps/Commands.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Levels.h"
#include "tools/sps/Terminal.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

struct DeleteArguments {
  std::string name;  // space or topic
  std::string par;
  std::string property;
  bool yes = false;
  bool dryRun = false;
};

// One thing that goes.
struct Doomed {
  const char* kind;
  Place place;
  std::u16string property;
  bool isReadOnly = false;
  bool hasKeys = false;
};

// What was asked for, with all that goes with it in the order of going; it is the last itself.
struct Deletion {
  std::vector<Doomed> all;
  const Doomed& Subject() const { return all.back(); }
  std::string Label() const;
};

std::string Deletion::Label() const {
  const Doomed& subject = Subject();
  if (subject.property.empty()) return subject.place.Label();
  return "property " + inQuotes(subject.property) + " of " + subject.place.Label();
}

// At a master the keys below a parameter go with it.
void addBelow(Deletion& deletion, Levels& levels, const Place& place) {
  for (const std::u16string& name : levels.Names(place)) {
    const Place below = place.Below(name);
    addBelow(deletion, levels, below);
    deletion.all.push_back({"key", below, {}, levels.Parameter(below).IsReadOnly()});
  }
}

void addParameter(Deletion& deletion, Levels& levels, const Place& place, const LevelParameter& parameter) {
  if (levels.IsRemote()) addBelow(deletion, levels, place);
  deletion.all.push_back({"param", place, {}, parameter.IsReadOnly(), parameter.hasKeys});
}

// A master keeps also a level above the parameters that has the mark.
bool isReadOnlyLevel(Levels& levels, const Place& place) {
  return levels.IsRemote() && levels.Parameter(place).IsReadOnly();
}

void addTopic(Deletion& deletion, Levels& levels, const Place& place, const LevelTopic& topic) {
  for (const LevelParameter& parameter : topic.parameters) {
    addParameter(deletion, levels, place.Below(parameter.name), parameter);
  }
  deletion.all.push_back({"topic", place, {}, isReadOnlyLevel(levels, place)});
}

void addSpace(Deletion& deletion, Levels& levels, const Place& place, const LevelSpace& space) {
  for (const LevelTopic& topic : space.topics) addTopic(deletion, levels, place.Below(topic.name), topic);
  deletion.all.push_back({"space", place, {}, isReadOnlyLevel(levels, place)});
}

Place topicPlace(Context& context, const DeleteArguments& arguments) {
  const std::u16string topic = keyName(arguments.name, "topic");
  return {{spaceName(context), topic}};
}

Place parameterPlace(Context& context, const DeleteArguments& arguments) {
  const ParameterName name = parameterName({arguments.name, arguments.par});
  return {{spaceName(context), name.topic, name.par}};
}

// Each of these looks up what there is to delete; Refused where there is nothing.
using Find = Deletion (*)(Context& context, Levels& levels, const DeleteArguments& arguments);

Deletion findSpace(Context& context, Levels& levels, const DeleteArguments& arguments) {
  if (!context.options.space.empty()) throw WrongUsage("delete space takes its NAME and no --space");
  const Place place{{keyName(arguments.name, "space")}};
  Deletion deletion;
  addSpace(deletion, levels, place, levels.Space(place));
  return deletion;
}

Deletion findTopic(Context& context, Levels& levels, const DeleteArguments& arguments) {
  const Place place = topicPlace(context, arguments);
  Deletion deletion;
  addTopic(deletion, levels, place, levels.Topic(place));
  return deletion;
}

Deletion findParameter(Context& context, Levels& levels, const DeleteArguments& arguments) {
  const Place place = parameterPlace(context, arguments);
  Deletion deletion;
  addParameter(deletion, levels, place, levels.Parameter(place));
  return deletion;
}

Deletion findProperty(Context& context, Levels& levels, const DeleteArguments& arguments) {
  const std::u16string name = toUtf16(arguments.property, "property");
  if (name.empty()) throw WrongUsage("the property's name is empty");
  const Place place = parameterPlace(context, arguments);
  const LevelParameter parameter = levels.Parameter(place);
  Deletion deletion{{{"prop", place, name, parameter.IsReadOnly(), false}}};
  if (findStored(parameter.properties, name) == nullptr) {
    context.Refuse("delete " + deletion.Label(), ERROR_FILE_NOT_FOUND,
                   context.Next({"props", arguments.name, arguments.par}));
  }
  return deletion;
}

std::size_t countOf(const Deletion& deletion, std::string_view kind) {
  const auto isOne = [&](const Doomed& doomed) { return doomed.kind == kind; };
  return static_cast<std::size_t>(std::ranges::count_if(deletion.all, isOne));
}

// " with 3 topics and 21 parameters, 2 of them read-only"
std::string belongings(const Deletion& deletion) {
  const std::string_view kind = deletion.Subject().kind;
  if (kind == "param" || kind == "prop") return deletion.Subject().isReadOnly ? ", which is read-only" : "";
  std::string text = " with ";
  if (kind == "space") text += counted(countOf(deletion, "topic"), "topic") + " and ";
  text += counted(countOf(deletion, "param"), "parameter");
  const auto readOnly = std::ranges::count_if(deletion.all, [](const Doomed& doomed) {
    return doomed.isReadOnly && doomed.kind == std::string_view("param");
  });
  return readOnly == 0 ? text : text + ", " + std::to_string(readOnly) + " of them read-only";
}

constexpr std::int64_t readOnlyCode = 15;
constexpr std::size_t parameterDepth = 3;

// A command about the parameter, whichever space this one is about; none about what is no parameter.
std::string nextAbout(Context& context, const Place& parameter, const std::string& command,
                      const std::vector<std::string>& more) {
  const std::vector<std::u16string>& names = parameter.names;
  if (names.size() != parameterDepth) return {};
  std::vector<std::string> words{command, toUtf8(names[1]), toUtf8(names[2])};
  words.insert(words.end(), more.begin(), more.end());
  if (!context.options.space.empty()) return context.Next(words);
  return context.Next(words, {{"--space", toUtf8(names[0])}});
}

// Of a read-only parameter a master deletes the mark alone, and that for an administrator, which it knows.
bool isReadOnlyMark(const Doomed& subject) {
  return sameName(subject.property, Spc::m_pREADONLY);
}

// A key below a parameter's is nothing that this deletion would take along, and a master deletes nothing that
// is read-only.
std::optional<Refused> expectedRefusal(Context& context, const Deletion& deletion) {
  const std::string asked = "delete " + deletion.Label();
  const auto withKeys = std::ranges::find_if(deletion.all, &Doomed::hasKeys);
  if (withKeys != deletion.all.end()) {
    return Refused{asked, withKeys->place.Label() + " has keys of its own", ERROR_ACCESS_DENIED,
                   nextAbout(context, withKeys->place, "rm", {})};
  }
  if (!context.IsRemote() || isReadOnlyMark(deletion.Subject())) return std::nullopt;
  const auto readOnly = std::ranges::find_if(deletion.all, &Doomed::isReadOnly);
  if (readOnly == deletion.all.end()) return std::nullopt;
  return Refused{asked, readOnly->place.Label() + " is read-only", readOnlyCode,
                 nextAbout(context, readOnly->place, "attr", {"readonly", "off"})};
}

void confirm(const Deletion& deletion, bool yes) {
  if (yes) return;
  if (!canAsk()) {
    throw WrongUsage("delete asks before it deletes, and there is no terminal to ask at: add --yes");
  }
  const std::string what = deletion.Label() + belongings(deletion);
  if (!ask("Delete " + what + '?')) throw Refused{"delete " + what, "not confirmed", 0, {}};
}

bool deleteAt(Spa& spa, const std::u16string& root, const Doomed& subject) {
  const std::vector<std::u16string>& names = subject.place.names;
  const auto name = [&](std::size_t depth) { return names[depth].c_str(); };
  if (!subject.property.empty()) {
    return spa.GetParAcc(root.c_str(), name(0), name(1), name(2), false, false) &&
           spa.DelParProperty(subject.property.c_str());
  }
  switch (names.size()) {
    case 1:
      return spa.GetRootAcc(root.c_str(), false, false) && spa.DelPrcSpace(name(0));
    case 2:
      return spa.GetPrcSpaceAcc(root.c_str(), name(0), false, false) && spa.DelTopic(name(1));
    default:
      return spa.GetTopicAcc(root.c_str(), name(0), name(1), false, false) && spa.DelParameter(name(2));
  }
}

std::int64_t deleteHere(Context& context, const Doomed& subject) {
  RegistryTransaction transaction;
  Spa spa;
  if (!deleteAt(spa, context.Parameters().RootPath(), subject)) return spa.GetLastError();
  return transaction.Commit();
}

std::int64_t deleteThere(Context& context, const Doomed& subject) {
  Place above = subject.place;
  if (!subject.property.empty()) {
    return context.AtMaster().RemoveValue(fullPath(context, above), subject.property);
  }
  above.names.pop_back();
  return context.AtMaster().RemoveKey(fullPath(context, above), subject.place.names.back());
}

void deleteIt(Context& context, const Deletion& deletion) {
  const Doomed& subject = deletion.Subject();
  const std::int64_t code = context.IsRemote() ? deleteThere(context, subject) : deleteHere(context, subject);
  context.Log().Clear();
  if (code == readOnlyCode) context.Parameters().Report(readOnlyCode, fullPath(context, subject.place));
  if (code != 0) context.Refuse("delete " + deletion.Label(), code, {});
}

std::string dryRunText(const Deletion& deletion, bool isRefused) {
  std::vector<Row> rows;
  for (const Doomed& doomed : deletion.all) {
    rows.push_back({doomed.kind, oneLine(doomed.place.Path())});
    if (!doomed.property.empty()) rows.back().push_back(oneLine(doomed.property));
    if (doomed.isReadOnly) rows.back().emplace_back("read-only");
    if (doomed.hasKeys) rows.back().emplace_back("has keys of its own");
  }
  if (isRefused) return columns(rows);
  return columns(rows) + "would delete " + deletion.Label() + belongings(deletion) + '\n';
}

Json doomedJson(const Doomed& doomed) {
  Json json{{"kind", doomed.kind}, {"path", toUtf8(doomed.place.Path())}};
  if (!doomed.property.empty()) json["property"] = toUtf8(doomed.property);
  json["readOnly"] = doomed.isReadOnly;
  json["hasKeys"] = doomed.hasKeys;
  return json;
}

Json answerJson(const Deletion& deletion, bool dryRun) {
  Json answer{{"dryRun", dryRun}, {"entries", Json::array()}};
  for (const Doomed& doomed : deletion.all) answer["entries"].push_back(doomedJson(doomed));
  return answer;
}

Deletion findDoomed(Context& context, const DeleteArguments& arguments, Find find) {
  std::optional<RegistryView> view;
  if (!context.IsRemote()) view.emplace();
  Levels levels(context, "delete");
  Deletion deletion = find(context, levels, arguments);
  context.ConfirmMaster();
  return deletion;
}

void runDelete(Context& context, const DeleteArguments& arguments, Find find) {
  const Deletion deletion = findDoomed(context, arguments, find);
  const std::optional<Refused> refusal = expectedRefusal(context, deletion);
  if (!arguments.dryRun) {
    if (refusal) throw Refused(*refusal);
    confirm(deletion, arguments.yes);
    deleteIt(context, deletion);
  }
  context.Answer([&] { return arguments.dryRun ? dryRunText(deletion, refusal.has_value()) : std::string(); },
                 [&] { return answerJson(deletion, arguments.dryRun); });
  if (refusal) throw Refused(*refusal);
}

std::shared_ptr<DeleteArguments> addDeletion(CLI::App& command, Context& context, Find find) {
  auto arguments = std::make_shared<DeleteArguments>();
  command.add_flag("-y,--yes", arguments->yes, "Do not ask");
  command.add_flag("--dry-run", arguments->dryRun, "List what would go, and delete nothing");
  command.callback([&context, arguments, find] { runDelete(context, *arguments, find); });
  return arguments;
}

}  // namespace

void addDeleteCommand(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand("delete", "Delete a space, a topic, a parameter or a property");
  command->group(treeGroup);
  command->require_subcommand(1);

  CLI::App* level = command->add_subcommand("space", "Delete a process space with all its topics");
  level->add_option("NAME", addDeletion(*level, context, findSpace)->name, "Process space")->required();

  level = command->add_subcommand("topic", "Delete a topic with all its parameters");
  level->add_option("TOPIC", addDeletion(*level, context, findTopic)->name, "Topic")->required();

  const auto addNames = [&](Find find) {
    auto arguments = addDeletion(*level, context, find);
    level->add_option("TOPIC", arguments->name, "Topic")->required();
    level->add_option("PARAMETER", arguments->par, "Parameter")->required();
    return arguments;
  };
  level = command->add_subcommand("param", "Delete a parameter");
  addNames(findParameter);
  level = command->add_subcommand("prop", "Delete one property of a parameter, such as an override value");
  level->add_option("PROPERTY", addNames(findProperty)->property, "Property")->required();
}

}  // namespace tool
