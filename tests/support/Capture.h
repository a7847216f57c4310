// The lines of both trace channels while it lives, rendered.
#pragma once

#include <string>
#include <vector>

#include "platform/support/Trace.h"

class Capture {
public:
  explicit Capture(trace::Levels levels = trace::allLevels)
      : m_id(trace::addSink([this](const trace::Line& line) { lines.push_back(trace::render(line)); },
                            levels)) {}
  ~Capture() { trace::removeSink(m_id); }
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  std::string text() const {
    std::string all;
    for (const std::string& line : lines) all += line + "\n";
    return all;
  }

  std::vector<std::string> lines;

private:
  trace::SinkId m_id;
};
