// uXoLogger: the logger registry and the one sink.
#include "uXoLogger.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>

namespace xo {

namespace {

struct TState {
  std::recursive_mutex Lock;  // guards Loggers and Sink, and serialises the sink's calls
  std::map<std::u16string, std::unique_ptr<IXoLogger>, std::less<>> Loggers;
  TXoLogSink Sink;
  std::atomic<bool> HasSink{false};
};

TState& State() {
  // Never destroyed: a logger may be used by static objects being torn down.
  static TState* s = new TState;
  return *s;
}

class TXoNamedLogger final : public IXoLogger {
public:
  explicit TXoNamedLogger(std::u16string_view AName) : FName(AName) {}
  const std::u16string& Name() const override { return FName; }
  void Log(std::u16string_view AText) override {
    TState& s = State();
    if (!s.HasSink.load(std::memory_order_acquire)) return;  // the default: nothing is written
    std::lock_guard<std::recursive_mutex> guard(s.Lock);
    if (s.Sink) s.Sink(FName, AText);
  }

private:
  std::u16string FName;
};

}  // namespace

IXoLogger* TXoLogManager::GetLogger(std::u16string_view AName) {
  TState& s = State();
  std::lock_guard<std::recursive_mutex> guard(s.Lock);
  auto it = s.Loggers.find(AName);
  if (it == s.Loggers.end())
    it = s.Loggers.emplace(std::u16string(AName), std::make_unique<TXoNamedLogger>(AName)).first;
  return it->second.get();
}

TXoLogSink TXoLogManager::SetSink(TXoLogSink ASink) {
  TState& s = State();
  std::lock_guard<std::recursive_mutex> guard(s.Lock);
  TXoLogSink old = std::move(s.Sink);
  s.Sink = std::move(ASink);
  s.HasSink.store(static_cast<bool>(s.Sink), std::memory_order_release);
  return old;
}

bool TXoLogManager::HasSink() const { return State().HasSink.load(std::memory_order_acquire); }

TXoLogManager& Logger() {
  static TXoLogManager manager;
  return manager;
}

}  // namespace xo
