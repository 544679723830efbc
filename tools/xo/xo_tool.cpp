// Command table and shared input/output of the xo tool.
#include "xo_tool.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace xotool {

namespace {
std::vector<TCommand>& Table() {
  static std::vector<TCommand> table;
  return table;
}
}  // namespace

TRegisterCommand::TRegisterCommand(const TCommand& ACommand) { Table().push_back(ACommand); }

const std::vector<TCommand>& Commands() {
  // Registration order depends on the link; list the commands in a fixed one.
  static const char* const kOrder[] = {"events", "format", "check", "select", "convert"};
  auto rank = [](const TCommand& c) {
    for (size_t i = 0; i < std::size(kOrder); ++i)
      if (std::strcmp(c.Name, kOrder[i]) == 0) return i;
    return std::size(kOrder);
  };
  std::stable_sort(Table().begin(), Table().end(),
                   [&](const TCommand& a, const TCommand& b) { return rank(a) < rank(b); });
  return Table();
}

int UsageError(const char* ACommand, const std::string& AMessage) {
  std::fprintf(stderr, "xo %s: %s\n", ACommand, AMessage.c_str());
  for (const TCommand& c : Commands())
    if (std::strcmp(c.Name, ACommand) == 0) std::fprintf(stderr, "Usage: xo %s\n", c.Synopsis);
  return kExitUsage;
}

std::u16string DisplayName(const std::string& AFile) { return xo::XoUTF8ToUTF16(AFile); }

std::unique_ptr<xo::TStream> OpenInput(const std::string& AFile) {
  if (AFile != "-") return std::make_unique<xo::TFileStream>(AFile, xo::fmOpenRead | xo::fmShareDenyWrite);
  // Standard input is read whole (up to the readers' size limit), so that
  // every command can treat it like a file: seek, look for a byte-order mark.
  auto data = std::make_unique<xo::TMemoryStream>();
  const int64_t limit = xo::XoGetMaxInputSize();
  char chunk[65536];
  for (;;) {
    ssize_t n = ::read(STDIN_FILENO, chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) throw xo::EReadError(u"Cannot read standard input. %s", {std::string(std::strerror(errno))});
    if (n == 0) break;
    if (data->GetSize() + n > limit) throw xo::EXoInputTooLarge(limit);
    data->WriteBuffer(chunk, n);
  }
  data->SetPosition(0);
  return data;
}

void ReadInput(const std::string& AFile, xo::TMemoryStream& AData) {
  std::unique_ptr<xo::TStream> in = OpenInput(AFile);
  const int64_t limit = xo::XoGetMaxInputSize();
  char chunk[65536];
  for (;;) {
    int64_t n = in->Read(chunk, sizeof chunk);
    if (n <= 0) break;
    if (AData.GetSize() + n > limit) throw xo::EXoInputTooLarge(limit);
    AData.WriteBuffer(chunk, n);
  }
  AData.SetPosition(0);
}

bool LooksLikeJSON(const uint8_t* AData, size_t ASize) {
  size_t i = 0;
  if (ASize >= 3 && AData[0] == 0xEF && AData[1] == 0xBB && AData[2] == 0xBF)
    i = 3;
  else if (ASize >= 2 && ((AData[0] == 0xFF && AData[1] == 0xFE) || (AData[0] == 0xFE && AData[1] == 0xFF)))
    i = 2;
  while (i < ASize && AData[i] <= 0x20) ++i;
  return i < ASize && AData[i] != '<';
}

bool LooksLikeXMLFile(const std::string& AFile) {
  struct stat st;
  if (AFile == "-" || ::stat(AFile.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return false;
  try {
    xo::TFileStream in(AFile, xo::fmOpenRead | xo::fmShareDenyWrite);
    uint8_t head[4096];
    const int64_t n = in.Read(head, sizeof head);
    size_t i = 0;
    while (i < static_cast<size_t>(n) && head[i] != '<') {
      if (head[i] > 0x20 && head[i] != 0xEF && head[i] != 0xBB && head[i] != 0xBF && head[i] != 0xFF &&
          head[i] != 0xFE)
        return false;
      ++i;
    }
    return i < static_cast<size_t>(n);
  } catch (const xo::Exception&) {
    return false;
  }
}

bool LooksLikeJSONFile(const std::string& AFile) {
  struct stat st;
  if (AFile == "-" || ::stat(AFile.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return false;
  try {
    xo::TFileStream in(AFile, xo::fmOpenRead | xo::fmShareDenyWrite);
    uint8_t head[4096];
    const int64_t n = in.Read(head, sizeof head);
    return n > 0 && LooksLikeJSON(head, static_cast<size_t>(n));
  } catch (const xo::Exception&) {
    return false;
  }
}

int64_t TStdOut::Read(void*, int64_t) { throw xo::EReadError(u"Stream read error"); }

int64_t TStdOut::Write(const void* ABuffer, int64_t ACount) {
  if (FErrno != 0 || ACount <= 0) return ACount;
  if (std::fwrite(ABuffer, 1, static_cast<size_t>(ACount), stdout) != static_cast<size_t>(ACount))
    FErrno = errno != 0 ? errno : EIO;
  return ACount;
}

int64_t TStdOut::Seek(int64_t, xo::TSeekOrigin) { return 0; }

bool TStdOut::Close() {
  if (FErrno == 0 && std::fflush(stdout) != 0) FErrno = errno != 0 ? errno : EIO;
  if (FErrno == 0 && std::ferror(stdout)) FErrno = EIO;
  if (FErrno != 0) {
    std::fprintf(stderr, "xo: cannot write output: %s\n", std::strerror(FErrno));
    return false;
  }
  return true;
}

int Finish(TStdOut& AOut, int AStatus) { return AOut.Close() ? AStatus : kExitOutput; }

}  // namespace xotool
