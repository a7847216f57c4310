// The commands by group; each function adds its own to the command line, with what runs them.
#pragma once

#include <string>

#include "tools/sps/Answers.h"
#include "tools/sps/Context.h"
#include "tools/sps/ParameterKey.h"

namespace CLI {
class App;
}

namespace tool {

void addValueCommands(CLI::App& app, Context& context);      // get, set
void addCreateCommand(CLI::App& app, Context& context);      // create
void addAttributeCommand(CLI::App& app, Context& context);   // attr
void addRemoveCommand(CLI::App& app, Context& context);      // rm
void addListCommands(CLI::App& app, Context& context);       // ls, tree
void addLevelCommands(CLI::App& app, Context& context);      // spaces, topics, params, props, walk
void addDeleteCommand(CLI::App& app, Context& context);      // delete
void addShowCommand(CLI::App& app, Context& context);        // show
void addExplainCommand(CLI::App& app, Context& context);     // explain
void addDirectoryCommand(CLI::App& app, Context& context);   // dirs
void addLogModeCommand(CLI::App& app, Context& context);     // logmode
void addTransferCommands(CLI::App& app, Context& context);   // import, export
void addStoreCommands(CLI::App& app, Context& context);      // store
void addMasterCommand(CLI::App& app, Context& context);      // master
void addHierarchyCommands(CLI::App& app, Context& context);  // hierarchy, where
void addVersionCommand(CLI::App& app, Context& context);     // version

// Headings of the help.
inline constexpr const char* parameterGroup = "Parameters";
inline constexpr const char* installationGroup = "Installation";
inline constexpr const char* treeGroup = "Tree, as it is stored";
inline constexpr const char* registryGroup = "Registry";

// The two arguments TOPIC and PARAMETER as given.
struct ParameterArguments {
  std::string topic;
  std::string par;
};
void addParameterArguments(CLI::App& command, ParameterArguments& arguments);
// WrongUsage where a name cannot be one.
ParameterName parameterName(const ParameterArguments& arguments);

// Space, topic and parameter: what every answer about one parameter begins with.
Json parameterJson(Context& context, const ParameterName& name);

// The values of a parameter's key, here or at the master. Refused, "cannot VERB parameter ...", where there
// is no parameter.
std::vector<StoredValue> parameterValues(Context& context, const std::string& verb,
                                         const ParameterName& name);

// An empty value of the parameter's declared type. Refused, "cannot VERB parameter ...", where there is no
// parameter, no type or an unknown one.
Value declaredValue(Context& context, const std::string& verb, const ParameterName& name);
// The same of a key that was read already.
Value declaredValue(Context& context, const std::string& verb, const ParameterName& name,
                    const ParameterKey& key);

// The value to be set, of the declared value's type, from the command line or standard input.
Written parsedValue(const Value& declared, const SetArguments& arguments);
// Whether a text has to be scrambled: a plain one under "@decrypt" could never be read again. WrongUsage
// where --encrypt is for no text.
bool mustScramble(char16_t letter, bool encrypt, bool isScrambled);
// For a parameter whose texts are to be scrambled from now on, while that value is written. Refused where it
// has others: they are stored in plain, and would be read as scrambled.
void refuseOtherTexts(Context& context, const ParameterName& name, const ParameterKey& key,
                      const std::u16string& written);
// What an option that must say something takes: CLI11's complaint, or none.
std::string notEmpty(const std::string& argument);

// Ends create for a parameter that is there.
[[noreturn]] void refuseExisting(Context& context, const ParameterName& name);

// Answers with names, one a line; in JSON as that field of the answer.
void answerNames(Context& context, const std::vector<std::u16string>& names, Json answer, const char* field);

// Standard input to its end as a value; one line end at the end is left out.
std::string standardInputValue();

}  // namespace tool
