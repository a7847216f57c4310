// What depends on a person sitting in front: colours, questions, progress.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace tool {

bool isTerminal(int descriptor);

// Emphasis for a stream that is a terminal; the plain text elsewhere and where NO_COLOR is set.
class Style {
public:
  explicit Style(int descriptor);
  std::string Bold(const std::string& text) const { return Wrap("1", text); }
  std::string Faint(const std::string& text) const { return Wrap("2", text); }
  std::string Bad(const std::string& text) const { return Wrap("1;31", text); }
  std::string Good(const std::string& text) const { return Wrap("1;32", text); }

private:
  std::string Wrap(const char* code, const std::string& text) const;
  bool m_on;
};

// Whether a question can be asked and answered: standard input and standard error are terminals.
bool canAsk();
// Asks on standard error; true for "y" and "yes" in any case. End of input is a no.
bool ask(const std::string& question);

// A bar on standard error for work that lasts longer than half a second. Silent where that is no
// terminal.
class Progress {
public:
  explicit Progress(std::string label);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Any unit; a total of 0 is unknown.
  void Show(std::uint64_t ready, std::uint64_t total);

private:
  std::string m_label;
  bool m_enabled;
  bool m_drawn = false;
  std::chrono::steady_clock::time_point m_next;
};

}  // namespace tool
