// uXoLogger: named loggers that write one line of text each. By default a
// logger writes nothing; a program installs a sink that receives every line
// with the name of the logger that wrote it:
//
//   xo::Logger().SetSink([](std::u16string_view AName, std::u16string_view AText) {
//     std::cerr << xo::XoUTF16ToUTF8(AName) << ": " << xo::XoUTF16ToUTF8(AText) << '\n';
//   });
//   xo::Logger().GetLogger(u"XPath")->Log(u"checked");   // the sink sees ("XPath", "checked")
//
// The library itself logs in one place only: fn:trace in a filter writes to
// the logger "XPath". Loggers live as long as the process; Log may be called
// from any thread, and the sink is called under a lock, one line at a time.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace xo {

// One named logger.
class IXoLogger {
public:
  virtual ~IXoLogger() = default;
  // The name it was asked for.
  virtual const std::u16string& Name() const = 0;
  // Writes one line to the sink (nothing when no sink is installed).
  virtual void Log(std::u16string_view AText) = 0;
};

// Receives each line: the logger's name and the text.
using TXoLogSink = std::function<void(std::u16string_view AName, std::u16string_view AText)>;

class TXoLogManager {
public:
  // The logger of that name (exact comparison), made on first request; the
  // same object for every later request of the name.
  IXoLogger* GetLogger(std::u16string_view AName);
  // Installs the sink of all loggers; an empty function removes it. Returns
  // the sink that was installed before.
  TXoLogSink SetSink(TXoLogSink ASink);
  // Whether a sink is installed.
  bool HasSink() const;
};

// The process-wide manager.
TXoLogManager& Logger();

}  // namespace xo
