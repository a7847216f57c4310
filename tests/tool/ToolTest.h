// Runs the real tool in a directory of the test's own.
#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tests/TempDirectory.h"
#include "tests/tool/Json.h"

using Arguments = std::vector<std::string>;

struct RunResult {
  int exitCode = -1;  // 128 and the number of the signal that ended it
  std::string out;    // on a terminal: both streams together, as shown
  std::string err;

  Json Answer() const { return Json::Parse(out); }
};

class ToolTest : public testing::Test {
protected:
  ToolTest();

  // Without a terminal.
  RunResult Run(const Arguments& arguments, const std::string& input = {});
  // Standard output goes to that file.
  RunResult RunInto(const std::string& file, const Arguments& arguments);
  // With these descriptors closed and the others leading nowhere. The exit code.
  int RunWithout(const std::vector<int>& closed, const Arguments& arguments);
  // At a terminal, where someone types the input.
  RunResult RunOnTerminal(const Arguments& arguments, const std::string& input);

  // The answer on standard output of a run that must succeed.
  std::string Out(const Arguments& arguments, const std::string& input = {});
  // The same as JSON; "--json" is added.
  Json JsonOut(Arguments arguments);

  // An empty one.
  void MakeStore();
  // Imports registry text for the key of a parameter in the space "Default".
  void Import(const std::string& topic, const std::string& par, const std::string& values);

  std::filesystem::path Path(const std::string& name) const { return m_directory / name; }
  void WriteFile(const std::string& name, const std::string& bytes) const;
  std::string ReadFile(const std::string& name) const;

  // The tool's whole environment.
  std::map<std::string, std::string> m_environment;

private:
  [[noreturn]] void Become(const Arguments& arguments) const;
  TempDirectory m_directory;
};

// Fails with what the run wrote.
testing::AssertionResult exitsWith(int exitCode, const RunResult& run);
