#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "tools/sps/Commands.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Hierarchy.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

// What the library says of every load without a master.
constexpr const char* notConnected = "Not connected to any master!";

constexpr const char* levelNames[] = {"top", "head of a domain", "subdomain"};

// What the library said of a parameter that it could not read.
std::string readFailure(const TraceLog& log) {
  const std::string said = log.LastOf(u"src\\spc", trace::Channel::Plain);
  return said == notConnected ? std::string() : said;
}

// A text that is wrong ends a load last of all, a topic that is missing before any parameter is read.
std::string loadFailure(const TraceLog& log) {
  std::string reason = log.LastOf(u"src\\shc", trace::Channel::Plain);
  if (reason.empty()) reason = readFailure(log);
  return reason.empty() ? log.LastOf(u"src\\RgNode", trace::Channel::BackTrace) : reason;
}

[[noreturn]] void refuseLoad(Context& context, const std::string& asked) {
  throw Refused{asked + ' ' + context.InSpace(), loadFailure(context.Log()), 0,
                context.Next({"ls", "DOMAINS"})};
}

// The library leaves out a domain that it cannot read, and what a text has behind its last semicolon.
void remarkLosses(Context& context) {
  const std::string unread = readFailure(context.Log());
  if (!unread.empty()) context.Remark("a domain was left out: " + unread);
  const std::string dropped = context.Log().LastOf(u"src\\shc", trace::Channel::Plain);
  if (!dropped.empty()) context.Remark(dropped);
}

// What a load reads first. The domain is -1 as long as it was not read.
std::string nextForPlace(const Context& context, const Hierarchy& hierarchy) {
  const char* missing = hierarchy.GetLocalDomain() == -1 ? "DOMAIN" : "SUBDOMAIN";
  return context.Next({"create", "Global", missing}, {{"--type", "I"}, {"--value", "NUMBER"}});
}

// A system is shown also where this machine's own place in it is not known.
void load(Context& context, Hierarchy& hierarchy) {
  if (hierarchy.Load()) return remarkLosses(context);
  context.Log().Clear();
  if (!hierarchy.Refresh()) refuseLoad(context, "load the hierarchy of hosts");
  context.Remark("this machine's place is not known: " + nextForPlace(context, hierarchy));
  remarkLosses(context);
}

Row hostColumns(Context& context, const HostRow& row, const std::string& branch) {
  const std::string name = row.name.empty() ? "<no host>" : oneLine(row.name);
  return {branch + name, std::to_string(row.domain), std::to_string(row.subdomain), oneLine(row.device),
          oneLine(row.description) + (row.isHere ? context.Out().Good("  <- this machine") : std::string())};
}

class TreeDrawing {
public:
  TreeDrawing(Context& context, const std::vector<HostRow>& rows)
      : m_context(context), m_rows(rows), m_children(rows.size()) {
    for (std::size_t at = 0; at < rows.size(); ++at) {
      if (rows[at].parent) m_children[*rows[at].parent].push_back(at);
    }
  }

  std::string Text() {
    m_lines.push_back({"HOST", "DOMAIN", "SUBDOMAIN", "DEVICE", "DESCRIPTION"});
    for (std::size_t at = 0; at < m_rows.size(); ++at) {
      if (!m_rows[at].parent) Add(at, {}, {});
    }
    return columns(m_lines);
  }

private:
  // The row, and what lies below.
  void Add(std::size_t at, const std::string& branch, const std::string& below) {
    m_lines.push_back(hostColumns(m_context, m_rows[at], branch));
    for (const std::size_t child : m_children[at]) {
      const bool isLast = child == m_children[at].back();
      Add(child, below + (isLast ? "└── " : "├── "), below + (isLast ? "    " : "│   "));
    }
  }

  Context& m_context;
  const std::vector<HostRow>& m_rows;
  std::vector<std::vector<std::size_t>> m_children;
  std::vector<Row> m_lines;
};

Json hostJson(const std::vector<HostRow>& rows, const HostRow& row) {
  return {{"domain", row.domain},
          {"subdomain", row.subdomain},
          {"device", toUtf8(row.device)},
          {"description", toUtf8(row.description)},
          {"host", toUtf8(row.name)},
          {"noMacs", row.noMacs},
          {"level", row.level},
          {"parent", row.parent ? Json(toUtf8(rows[*row.parent].name)) : Json(nullptr)},
          {"here", row.isHere}};
}

Json hierarchyJson(Context& context, const Hierarchy& hierarchy, const std::vector<HostRow>& rows) {
  Json answer{{"space", toUtf8(context.Parameters().GetPrcSpaceName().View())},
              {"source", hierarchy.Source()},
              {"hosts", Json::array()}};
  for (const HostRow& row : rows) answer["hosts"].push_back(hostJson(rows, row));
  return answer;
}

// Text inside the double quotes of a Graphviz label.
std::string dotText(const std::u16string& text) {
  std::string escaped;
  for (const char c : oneLine(text)) {
    if (c == '"' || c == '\\') escaped += '\\';
    escaped += c;
  }
  return escaped;
}

std::string dotGraph(const std::vector<HostRow>& rows) {
  std::string text = "digraph hierarchy {\n  node [shape=box];\n";
  for (std::size_t at = 0; at < rows.size(); ++at) {
    const HostRow& row = rows[at];
    text += "  n" + std::to_string(at) + " [label=\"" + dotText(row.name) + "\\n" + dotText(row.description) +
            "\\n" + std::to_string(row.domain) + " / " + std::to_string(row.subdomain) + '"' +
            (row.isHere ? ", style=bold" : "") + "];\n";
    if (row.parent) text += "  n" + std::to_string(*row.parent) + " -> n" + std::to_string(at) + ";\n";
  }
  return text + "}\n";
}

void runHierarchy(Context& context, bool asDot) {
  if (asDot && context.options.json) throw WrongUsage("--dot and --json exclude each other");
  Hierarchy hierarchy(context);
  load(context, hierarchy);
  const std::vector<HostRow> rows = hierarchy.Rows();
  context.Answer([&] { return asDot ? dotGraph(rows) : TreeDrawing(context, rows).Text(); },
                 [&] { return hierarchyJson(context, hierarchy, rows); });
}

struct Standing {
  std::int32_t domain = -1;
  std::int32_t subdomain = -1;
  std::int32_t level = -1;
  std::u16string host;
  std::optional<std::u16string> parent;  // empty at the top; nothing where its row is missing
};

std::string missingRow(const Hierarchy& hierarchy) {
  if (hierarchy.GetLocalDomain() == -1) return "its DOMAIN is -1, which stands for none";
  if (hierarchy.LocalSubDomain() == -1) return "its SUBDOMAIN is -1, which stands for none";
  return "no host has its subdomain, " + std::to_string(hierarchy.LocalSubDomain());
}

// The whole hierarchy is asked for: a head's parent is in another domain.
Standing findPlace(Context& context, Hierarchy& hierarchy) {
  constexpr const char* asked = "tell where this machine stands";
  if (!hierarchy.Load()) {
    const bool isKnown = hierarchy.GetLocalDomain() != -1 && hierarchy.LocalSubDomain() != -1;
    if (isKnown) refuseLoad(context, asked);
    throw Refused{std::string(asked) + ' ' + context.InSpace(), loadFailure(context.Log()), 0,
                  nextForPlace(context, hierarchy)};
  }
  Standing place;
  place.domain = hierarchy.GetDomain();
  if (place.domain == -1) {
    throw Refused{std::string(asked) + ' ' + context.InSpace(), missingRow(hierarchy), 0,
                  context.Next({"hierarchy"})};
  }
  place.subdomain = hierarchy.GetSubDomain();
  place.host = hierarchy.GetHost().View();
  place.level = hierarchy.GetLocalHierarchyLevel();
  UnicodeString parent;
  if (hierarchy.GetParentHost(parent)) place.parent = parent.View();
  return place;
}

std::string parentText(const Standing& place) {
  if (!place.parent) return "<its row is missing>";
  return place.level == 0 ? "<none>" : oneLine(*place.parent);
}

std::string placeText(const Standing& place, const Hierarchy& hierarchy) {
  return columns({{"domain", std::to_string(place.domain)},
                  {"subdomain", std::to_string(place.subdomain)},
                  {"level", std::to_string(place.level) + " (" + levelNames[place.level] + ')'},
                  {"host", oneLine(place.host)},
                  {"parent", parentText(place)},
                  {"computer", oneLine(hierarchy.GetComputerNameW().View())},
                  {"learned from", hierarchy.Source()}});
}

Json placeJson(const Standing& place, const Hierarchy& hierarchy) {
  return {{"domain", place.domain},
          {"subdomain", place.subdomain},
          {"level", place.level},
          {"host", toUtf8(place.host)},
          {"parent", place.parent ? Json(toUtf8(*place.parent)) : Json(nullptr)},
          {"computer", toUtf8(hierarchy.GetComputerNameW().View())},
          {"source", hierarchy.Source()}};
}

void runWhere(Context& context) {
  Hierarchy hierarchy(context);
  const Standing place = findPlace(context, hierarchy);
  context.Answer([&] { return placeText(place, hierarchy); }, [&] { return placeJson(place, hierarchy); });
}

}  // namespace

void addHierarchyCommands(CLI::App& app, Context& context) {
  auto asDot = std::make_shared<bool>(false);
  CLI::App* hierarchy =
      app.add_subcommand("hierarchy", "Draw the domains, subdomains and hosts, with this machine marked");
  hierarchy->group(installationGroup);
  hierarchy->add_flag("--dot", *asDot, "As a graph for Graphviz");
  hierarchy->callback([&context, asDot] { runHierarchy(context, *asDot); });
  CLI::App* where =
      app.add_subcommand("where", "Tell this machine's domain, subdomain, level, host and parent host");
  where->group(installationGroup);
  where->callback([&context] { runWhere(context); });
}

}  // namespace tool
