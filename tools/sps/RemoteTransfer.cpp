#include "platform/registry/registry.h"
#include "platform/regtext/RegTextPath.h"
#include "platform/regtext/RegTextReader.h"
#include "platform/regtext/RegTextWriter.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Remote.h"
#include "tools/sps/Text.h"

namespace tool::remote {

namespace {

std::u16string normalized(const std::u16string& path) {
  std::u16string result;
  const std::string fault = regtext::normalizePath(path, result);
  if (!fault.empty()) throw WrongUsage("the key " + inQuotes(path) + ": " + fault);
  return result;
}

// The key as it stands in registry texts, which must lie in the master's tree of parameters.
std::u16string keyInTree(Context& context, const std::u16string& path) {
  const std::u16string tree = normalized(context.Parameters().RootPath());
  std::u16string key = normalized(path);
  if (regtext::isWithin(key, tree)) return key;
  throw WrongUsage("the key " + inQuotes(key) + " lies outside of " + oneLine(tree) +
                   ", and a master has no other tree to give");
}

// The counts of a text that may be imported below the root.
ImportCounts checkText(const std::string& asked, const std::u16string& text, const std::u16string& root) {
  ImportCounts counts;
  regtext::Fault outside;
  const regtext::Fault syntax = regtext::parse(text, [&](const regtext::Event& event) {
    if (!regtext::isWithin(event.key, root)) {
      outside = {event.line, "the key " + oneLine(event.key) + " lies outside of " + oneLine(root)};
    }
    counts.keys += event.kind == regtext::Kind::Key ? 1 : 0;
    counts.values += event.kind == regtext::Kind::Value ? 1 : 0;
    return !outside;
  });
  const regtext::Fault& fault = outside ? outside : syntax;
  if (fault) throw Refused{asked, fault.Message(), 0, {}};
  return counts;
}

}  // namespace

ImportCounts importText(Context& context, const std::string& asked, const std::u16string& text,
                        const std::u16string& within) {
  const std::u16string root = keyInTree(context, within.empty() ? context.Parameters().RootPath() : within);
  const ImportCounts counts = checkText(asked, text, root);
  const Master::Code code = context.AtMaster().Import(text);
  context.Log().Clear();
  if (code != 0) context.Refuse(asked, code, {});
  return counts;
}

ExportedText exportText(Context& context, const std::u16string& root, bool crLf) {
  const std::u16string key = keyInTree(context, root);
  const std::string asked = "export " + oneLine(root);
  std::u16string whole;
  const Master::Code code = context.AtMaster().Export(whole);
  context.Log().Clear();
  if (code != 0) context.Refuse(asked, code, {});
  context.ConfirmMaster();

  ExportedText exported;
  regtext::Writer writer(
      [&](std::u16string_view piece) {
        exported.text += piece;
        return true;
      },
      crLf ? regtext::LineEnd::CrLf : regtext::LineEnd::Lf);
  const regtext::Fault fault = regtext::parse(whole, [&](const regtext::Event& event) {
    if (!regtext::isWithin(event.key, key)) return true;
    ++(event.kind == regtext::Kind::Key ? exported.keys : exported.values);
    return writer.Write(event);
  });
  writer.Finish();
  if (fault) throw Refused{asked, "the master's text is damaged: " + fault.Message(), 0, {}};
  if (exported.keys == 0) context.Refuse(asked, ERROR_FILE_NOT_FOUND, context.Next({"ls"}, {{"--spaces"}}));
  return exported;
}

}  // namespace tool::remote
