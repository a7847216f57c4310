#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "tools/sps/Commands.h"
#include "tools/sps/Failure.h"
#include "tools/sps/Text.h"

namespace tool {

namespace {

using Microseconds = std::chrono::duration<double, std::micro>;

constexpr const char* anyMaster = "SYSPARSERVICE";
constexpr std::uint32_t defaultRequests = 20;
constexpr std::uint32_t mostRequests = 100'000;

struct MasterState {
  bool isLocal = false;
  std::u16string version;
  std::u16string space;
  std::size_t keys = 0;
  std::size_t values = 0;
  std::vector<Microseconds> times;  // of one request each, in ascending order
};

void expect(Context& context, Master::Code code, const std::string& what) {
  context.Log().Clear();
  if (code != 0) context.Refuse("ask the master for its " + what, code, {});
}

// The smallest request that there is, over and over.
std::vector<Microseconds> measure(Context& context, std::uint32_t requests) {
  std::vector<Microseconds> times;
  std::u16string space;
  for (std::uint32_t i = 0; i < requests; ++i) {
    const auto begin = std::chrono::steady_clock::now();
    const Master::Code code = context.AtMaster().Space(space);
    times.emplace_back(std::chrono::steady_clock::now() - begin);
    expect(context, code, "process space");
  }
  std::sort(times.begin(), times.end());
  return times;
}

MasterState askMaster(Context& context, std::uint32_t requests) {
  MasterState state;
  Master& master = context.AtMaster();
  state.isLocal = master.IsLocal();
  expect(context, master.Space(state.space), "process space");
  expect(context, master.Version(state.version), "version");
  const std::u16string root = context.Parameters().RootPath();
  std::vector<std::u16string> names;
  expect(context, master.Children(root, names), "process spaces");
  std::vector<StoredValue> values;
  expect(context, master.Values(root, values), "values");
  state.keys = names.size();
  state.values = values.size();
  state.times = measure(context, requests);
  return state;
}

Microseconds middle(const std::vector<Microseconds>& times) {
  return times[times.size() / 2];
}

std::string milliseconds(Microseconds time) {
  std::array<char, 32> text{};
  const int length = std::snprintf(text.data(), text.size(), "%.3f ms", time.count() / 1000.0);
  return {text.data(), static_cast<std::size_t>(length)};
}

std::string masterText(Context& context, const MasterState& state) {
  const std::string server = oneLine(toUtf16(*context.options.server, "server"));
  return columns(
      {{"server", server + (state.isLocal ? " (this machine)" : "")},
       {"version", oneLine(state.version)},
       {"space", oneLine(state.space)},
       {"root", counted(state.keys, "key") + ", " + counted(state.values, "value")},
       {"round trip", milliseconds(middle(state.times)) + " (" + milliseconds(state.times.front()) + " to " +
                          milliseconds(state.times.back()) + ", " + counted(state.times.size(), "request") +
                          ')'}});
}

Json masterJson(Context& context, const MasterState& state) {
  return {{"server", *context.options.server},
          {"local", state.isLocal},
          {"version", toUtf8(state.version)},
          {"space", toUtf8(state.space)},
          {"root", {{"keys", state.keys}, {"values", state.values}}},
          {"roundTrip",
           {{"requests", state.times.size()},
            {"medianMicroseconds", middle(state.times).count()},
            {"leastMicroseconds", state.times.front().count()},
            {"mostMicroseconds", state.times.back().count()}}}};
}

void runMaster(Context& context, std::uint32_t requests) {
  if (!context.IsRemote()) context.options.server = anyMaster;
  const MasterState state = askMaster(context, requests);
  context.Answer([&] { return masterText(context, state); }, [&] { return masterJson(context, state); });
}

}  // namespace

void addMasterCommand(CLI::App& app, Context& context) {
  auto requests = std::make_shared<std::uint32_t>(defaultRequests);
  CLI::App* command =
      app.add_subcommand("master", "Tell which master answers, with its version, space and round-trip time");
  command->group(installationGroup);
  command->add_option("--requests", *requests, "Requests that the round-trip time is measured over (20)")
      ->check(CLI::Range(std::uint32_t{1}, mostRequests))
      ->type_name("N");
  command->callback([&context, requests] { runMaster(context, *requests); });
}

}  // namespace tool
