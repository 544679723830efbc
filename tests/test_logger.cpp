// Tests of the named loggers: silent by default, one sink for all, the same
// logger for the same name, a sink that logs itself.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "uXoLogger.h"
#include "uXoSysUtils.h"

using namespace xo;

TEST(Logger, SilentUntilASinkIsInstalled) {
  IXoLogger* log = Logger().GetLogger(u"Test");
  EXPECT_EQ(log, Logger().GetLogger(u"Test"));
  EXPECT_NE(log, Logger().GetLogger(u"test"));  // names are exact
  EXPECT_EQ(XoUTF16ToUTF8(log->Name()), "Test");
  TXoLogSink old = Logger().SetSink({});
  EXPECT_FALSE(Logger().HasSink());
  log->Log(u"goes nowhere");  // no sink: nothing happens

  std::vector<std::string> lines;
  Logger().SetSink([&](std::u16string_view AName, std::u16string_view AText) {
    lines.push_back(XoUTF16ToUTF8(std::u16string(AName)) + "|" + XoUTF16ToUTF8(std::u16string(AText)));
    // A sink may log through another logger without a deadlock.
    if (AName == u"Test") Logger().GetLogger(u"Nested")->Log(u"inner");
  });
  EXPECT_TRUE(Logger().HasSink());
  log->Log(u"one");
  Logger().GetLogger(u"Other")->Log(u"");
  TXoLogSink mine = Logger().SetSink(old);
  EXPECT_TRUE(static_cast<bool>(mine));
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "Test|one");
  EXPECT_EQ(lines[1], "Nested|inner");
  EXPECT_EQ(lines[2], "Other|");
}

TEST(Logger, LinesFromManyThreadsArriveWhole) {
  std::vector<std::u16string> lines;
  TXoLogSink old = Logger().SetSink([&](std::u16string_view, std::u16string_view AText) { lines.emplace_back(AText); });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t] {
      IXoLogger* log = Logger().GetLogger(u"T" + IntToStr(t));
      for (int i = 0; i < 200; ++i) log->Log(u"line of thread " + IntToStr(t));
    });
  for (auto& th : threads) th.join();
  Logger().SetSink(old);
  ASSERT_EQ(lines.size(), 800u);
  for (const auto& l : lines) EXPECT_EQ(l.substr(0, 15), u"line of thread ");
}
