// What the commands do at a master: each function does what its namesake does in the store of this machine,
// over the connection of the context. All of them end with Refused where the master or the connection
// refuses.
#pragma once

#include <string>
#include <vector>

#include "tools/sps/Answers.h"
#include "tools/sps/Context.h"

namespace tool::remote {

// Parameters of the space. In the service's own space a value is read and written by topic and name, as a
// program does; in another one by path, with the override found here.
Value getValue(Context& context, const ParameterName& name);
Written setValue(Context& context, const ParameterName& name, const SetArguments& arguments);
std::vector<StoredValue> parameterValues(Context& context, const std::string& verb,
                                         const ParameterName& name);
void changeAttribute(Context& context, const std::string& verb, const ParameterName& name,
                     const AttributeState& wanted);
// Not one transaction: a failure half way takes the key away again, and its type, without which nobody can
// read it, comes last but the mark that closes it to changes.
void createParameter(Context& context, const ParameterName& name, const NewParameter& parameter);

std::vector<std::u16string> spaceNames(Context& context);
std::vector<std::u16string> topicNames(Context& context);
ListedTopic listTopic(Context& context, const std::u16string& topic, bool reveal);

Target topicTarget(Context& context, const std::u16string& topic);
void removeKey(Context& context, const Target& target);
void removeValue(Context& context, const ParameterName& name, const std::u16string& value);

// A registry text. It is checked here first, so that a fault is told with its line. An empty key within is
// no bound but the master's own, its tree of parameters.
ImportCounts importText(Context& context, const std::string& asked, const std::u16string& text,
                        const std::u16string& within);
// The tree of a key of the master's parameters, with the line ends that are wanted.
ExportedText exportText(Context& context, const std::u16string& root, bool crLf);

}  // namespace tool::remote
