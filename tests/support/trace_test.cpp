#include "platform/support/Trace.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>
#include <vector>

#include "platform/support/UnicodeString.h"
#include "tests/support/Capture.h"
#include "tests/support/print.h"

namespace {

using Lines = std::vector<std::string>;

void line(const char16_t* text, std::int32_t number = 1) {
  _DbgSetLine(u"t", number, u'E');
  _DbgOut(u"%s", text);
}

// Traces in another thread while it lives.
class Tracer {
public:
  ~Tracer() {
    m_done = true;
    m_thread.join();
  }
  Tracer() = default;
  Tracer(const Tracer&) = delete;
  Tracer& operator=(const Tracer&) = delete;

private:
  std::atomic<bool> m_done = false;
  std::thread m_thread{[this] {
    while (!m_done) line(u"x");
  }};
};

void traceEveryLevel() {
  for (const char16_t level : {u'S', u'E', u'W', u'I'}) {
    _DbgSetLine(u"src\\spc", 1, level);
    _DbgOut(u"plain");
  }
  for (const std::int32_t level : {1, 2}) {
    _DbgBackTraceSet(u"SPC-SPC1", u"src\\spc", 2, level);
    _DbgBackTrace(u"back");
  }
}

TEST(TraceTest, APlaceServesOneLineOfItsChannel) {
  const Capture capture;
  _DbgSetLine(u"unused", 119, u'E');
  _DbgSetLine(u"src\\spc", 120, u'E');
  _DbgBackTraceSet(u"SPC-RgNode", u"src\\RgNode", 7, 2);
  _DbgOut(u"Par '%s' code %d%%", UnicodeString(u"Größe"), 11);
  _DbgBackTrace(u"%s", static_cast<const char16_t*>(nullptr));
  _DbgOut(u"b");
  _DbgBackTrace(nullptr);
  EXPECT_EQ(capture.lines, (Lines{"E src\\spc:120: Par 'Größe' code 11%",
                                  "2 SPC-RgNode src\\RgNode:7: (null)", "I :0: b", "2  :0: "}));
}

TEST(TraceTest, AnUnwantedPlaceIsUsedUpToo) {
  {
    const Capture nothing({0, 0});
    line(u"unwanted");
  }
  const Capture capture;
  _DbgOut(u"b");
  EXPECT_EQ(capture.lines, Lines{"I :0: b"});
}

TEST(TraceTest, EachSinkGetsItsLevels) {
  const struct {
    trace::Levels levels;
    std::string expected;
  } cases[] = {{{}, "SEW1"},   {{u'S', 0}, "S"}, {{u'E', 0}, "SE"},    {trace::allLevels, "SEWI12"},
               {{0, 2}, "12"}, {{0, 0}, ""},     {{u'W', 9}, "SEW12"}, {{u'I', -1}, "SEWI"}};
  for (const auto& [levels, expected] : cases) {
    const Capture all;
    const Capture capture(levels);
    traceEveryLevel();
    std::string got;
    for (const std::string& line : capture.lines) got += line.front();
    EXPECT_EQ(got, expected);
    EXPECT_EQ(all.lines.size(), 6U);
  }
}

TEST(TraceTest, RenderKeepsOneLineOneLine) {
  const std::u16string text =
      u"a\n\r\t\x1B[2J\u0085\u2028\x7F" + std::u16string{0xD800, u'x', 0xDC00} + u"\U0001F600";
  const trace::Line line{trace::Channel::Plain, u'E', u"", u"src\n", 1, text};
  EXPECT_EQ(trace::render(line),
            "E src\\n:1: a\\n\\r\\t\\u001B[2J\\u0085\\u2028\\u007F\\uD800x\\uDC00\xF0\x9F\x98\x80");
}

TEST(TraceTest, NothingIsFormattedThatNobodyWants) {
  int conversions = 0;
  struct Counting {
    int* count;
    operator const char16_t*() const {
      ++*count;
      return u"x";
    }
  };
  const Capture capture({u'E', 0});
  _DbgOut(u"the first output of a process reads the settings, wanted or not");
  _DbgSetLine(u"s", 1, u'W');
  _DbgOut(u"%s", Counting{&conversions});
  EXPECT_EQ(conversions, 0);
  _DbgSetLine(u"s", 1, u'E');
  _DbgOut(u"%s", Counting{&conversions});
  EXPECT_EQ(conversions, 1);
}

TEST(TraceTest, ASinkThatTracesReachesNoSink) {
  const Capture capture;
  int calls = 0;
  const auto trace = [&calls](const trace::Line&) {
    ++calls;
    line(u"inner");
  };
  const trace::SinkId id = trace::addSink(trace, trace::allLevels);
  line(u"outer", 1);
  line(u"outer", 2);
  trace::removeSink(id);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(capture.lines, (Lines{"E t:1: outer", "E t:2: outer"}));
}

TEST(TraceTest, WhatIsNoSinkIsNotAdded) {
  EXPECT_EQ(trace::addSink({}), 0U);
  trace::removeSink(0);
  errno = 0;
  EXPECT_FALSE(trace::fileSink("/nonexistent/trace"));
  EXPECT_EQ(errno, ENOENT);
}

TEST(TraceTest, ThreadsKeepTheirPairsTogether) {
  constexpr int threadCount = 4;
  constexpr int lineCount = 2000;
  const Capture capture;
  const auto work = [](int number) {
    for (int line = 0; line < lineCount; ++line) {
      _DbgSetLine(u"t", number, u'E');
      _DbgBackTraceSet(u"tag", u"t", number, 1);
      _DbgOut(u"%d", number);
      _DbgBackTrace(u"%d", number);
    }
  };
  std::vector<std::thread> threads;
  for (int number = 0; number < threadCount; ++number) threads.emplace_back(work, number);
  for (std::thread& thread : threads) thread.join();

  std::map<std::string, int> counts;
  for (const std::string& line : capture.lines) ++counts[line];
  EXPECT_EQ(counts.size(), 2U * threadCount);
  for (const auto& [line, count] : counts) {
    EXPECT_EQ(count, lineCount) << line;
    EXPECT_EQ(line.back(), line[line.find(':') + 1]) << line;
  }
}

TEST(TraceTest, ThreadsMayTraceWhileSinksComeAndGo) {
  const Tracer tracer;
  for (int round = 0; round < 200; ++round) {
    bool alive = true;
    const trace::SinkId id = trace::addSink([&alive](const trace::Line&) { EXPECT_TRUE(alive); });
    trace::removeSink(id);
    alive = false;
  }
}

// Without care, a child that is forked while another thread traces finds the lock taken for ever.
TEST(TraceTest, AChildOfATracingProcessCanTrace) {
  const Capture capture({u'E', 0});
  const Tracer tracer;
  for (int round = 0; round < 50; ++round) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(20);
      line(u"x");
      _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    ASSERT_EQ(status, 0);
  }
}

TEST(TraceTest, FileSinkAppendsALineEach) {
  const auto path = std::filesystem::temp_directory_path() / ("sps-trace-" + std::to_string(getpid()));
  for (int run = 0; run < 2; ++run) {
    const trace::SinkId id = trace::addSink(trace::fileSink(path));
    line(u"two\nlines", run);
    trace::removeSink(id);
  }
  std::ifstream file(path);
  Lines lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  std::filesystem::remove(path);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(lines[0].ends_with(" E t:0: two\\nlines")) << lines[0];
  EXPECT_TRUE(lines[1].ends_with(" E t:1: two\\nlines")) << lines[1];
  EXPECT_EQ(lines[0].find('T'), 10U) << lines[0];
}

}  // namespace
