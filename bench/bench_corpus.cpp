// The XML reader against expat, libxml2's SAX2 and pugixml's load_buffer on a
// corpus of real documents (built by the shared corpus builder; the folder
// comes from XO_CORPUS_DIR or the first argument). Every parser reads the same
// bytes from memory, runs interleaved with the others round after round (so
// that all see the same machine state), and the median of the rounds stands
// for it. Memory is warm for every peer: freed blocks stay with the process
// instead of going back to the system, so no parser pays for fresh pages on
// every round. Times are the CPU time of the process, which other work on a
// busy machine does not inflate. Handlers do nothing but count.
//
//   bench_corpus [DIR] [--rounds N] [--only FILE] [--peers xo,pugixml,...]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <malloc.h>
#include <functional>
#include <string>
#include <vector>

#include "uXoSAX.h"

#ifdef XO_HAVE_EXPAT
#include <expat.h>
#endif
#ifdef XO_HAVE_LIBXML2
#include <libxml/parser.h>
#endif
#ifdef XO_HAVE_PUGIXML
#include <pugixml.hpp>
#endif

using namespace xo;

namespace {

size_t gEvents = 0;  // keeps the counting handlers from being optimised away

class TCounting : public TXoObject, public virtual IXoSAXContentHandler, public virtual IXoSAXErrorHandler {
public:
  void SetDocumentLocator(const TIntfPtr<IXoSAXLocator>&) override {}
  void Characters(const XoXMLString&) override { ++gEvents; }
  void EndDocument() override {}
  void EndElement(const XoXMLString&, const XoXMLString&, const XoXMLString&) override {}
  void EndPrefixMapping(const XoXMLString&) override {}
  void IgnorableWhitespace(const XoXMLString&) override {}
  void ProcessingInstruction(const XoXMLString&, const XoXMLString&) override {}
  void SkippedEntity(const XoXMLString&) override {}
  void StartDocument() override {}
  void StartElement(const XoXMLString&, const XoXMLString&, const XoXMLString&,
                    const TIntfPtr<IXoSAXAttributes>&) override {
    ++gEvents;
  }
  void StartPrefixMapping(const XoXMLString&, const XoXMLString&) override {}
  void Warning(const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) override {}
  void Error(const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) override {}
  void FatalError(const TIntfPtr<IXoSAXLocator>&, const XoXMLString& AMessage) override {
    std::fprintf(stderr, "xo: %s\n", XoUTF16ToUTF8(AMessage).c_str());
  }
};

bool RunXo(const std::string& ADoc) {
  static TIntfPtr<TCounting> handler(new TCounting());
  TXoSAXXMLReader reader;
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(handler.get()));
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(handler.get()));
  try {
    reader.ParseBuffer(ADoc.data(), static_cast<int64_t>(ADoc.size()), 0);
  } catch (const Exception&) {
    return false;
  }
  return true;
}

#ifdef XO_HAVE_EXPAT
void XMLCALL ExStart(void*, const XML_Char*, const XML_Char**) { ++gEvents; }
void XMLCALL ExEnd(void*, const XML_Char*) {}
void XMLCALL ExText(void*, const XML_Char*, int) { ++gEvents; }
bool RunExpat(const std::string& ADoc) {
  XML_Parser p = XML_ParserCreateNS(nullptr, ' ');
  XML_SetElementHandler(p, ExStart, ExEnd);
  XML_SetCharacterDataHandler(p, ExText);
  bool ok = XML_Parse(p, ADoc.data(), static_cast<int>(ADoc.size()), 1) == XML_STATUS_OK;
  XML_ParserFree(p);
  return ok;
}
#endif

#ifdef XO_HAVE_LIBXML2
void LxStart(void*, const xmlChar*, const xmlChar*, const xmlChar*, int, const xmlChar**, int, int,
             const xmlChar**) {
  ++gEvents;
}
void LxEnd(void*, const xmlChar*, const xmlChar*, const xmlChar*) {}
void LxText(void*, const xmlChar*, int) { ++gEvents; }
bool RunLibxml2(const std::string& ADoc) {
  xmlSAXHandler sax{};
  sax.initialized = XML_SAX2_MAGIC;
  sax.startElementNs = LxStart;
  sax.endElementNs = LxEnd;
  sax.characters = LxText;
  sax.ignorableWhitespace = LxText;
  xmlParserCtxtPtr ctxt = xmlCreatePushParserCtxt(&sax, nullptr, nullptr, 0, nullptr);
  xmlCtxtUseOptions(ctxt, XML_PARSE_HUGE | XML_PARSE_NONET);
  int rc = xmlParseChunk(ctxt, ADoc.data(), static_cast<int>(ADoc.size()), 1);
  bool ok = rc == 0 && ctxt->wellFormed;
  xmlFreeParserCtxt(ctxt);
  return ok;
}
#endif

#ifdef XO_HAVE_PUGIXML
bool RunPugixml(const std::string& ADoc) {
  pugi::xml_document doc;
  return static_cast<bool>(doc.load_buffer(ADoc.data(), ADoc.size()));
}
#endif

struct TPeer {
  const char* Name;
  std::function<bool(const std::string&)> Run;
};

double CpuNow() {
  timespec ts{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

double Median(std::vector<double> AValues) {
  std::sort(AValues.begin(), AValues.end());
  return AValues[AValues.size() / 2];
}

std::string ReadFile(const std::string& APath) {
  std::string s;
  if (FILE* f = std::fopen(APath.c_str(), "rb")) {
    std::fseek(f, 0, SEEK_END);
    s.resize(static_cast<size_t>(std::ftell(f)));
    std::fseek(f, 0, SEEK_SET);
    if (std::fread(s.data(), 1, s.size(), f) != s.size()) s.clear();
    std::fclose(f);
  }
  return s;
}

}  // namespace

int main(int argc, char** argv) {
  // Keep freed memory in the process (no trimming, no per-block mappings).
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  mallopt(M_TRIM_THRESHOLD, -1);
  std::string dir = std::getenv("XO_CORPUS_DIR") ? std::getenv("XO_CORPUS_DIR") : "";
  int rounds = 11;
  std::string only, peerList;
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--rounds") && i + 1 < argc)
      rounds = std::max(1, std::atoi(argv[++i]));
    else if (!std::strcmp(argv[i], "--only") && i + 1 < argc)
      only = argv[++i];
    else if (!std::strcmp(argv[i], "--peers") && i + 1 < argc)
      peerList = "," + std::string(argv[++i]) + ",";
    else
      dir = argv[i];
  }
  std::vector<std::string> files;
  if (DIR* d = dir.empty() ? nullptr : opendir(dir.c_str())) {
    while (dirent* e = readdir(d)) {
      std::string n = e->d_name;
      if (n.size() > 4 && n.compare(n.size() - 4, 4, ".xml") == 0 && (only.empty() || n.find(only) != std::string::npos))
        files.push_back(n);
    }
    closedir(d);
  }
  if (files.empty()) {
    std::printf("bench_corpus: no corpus (set XO_CORPUS_DIR or pass the folder made by "
                "make-xml-corpus.py); skipped\n");
    return 0;
  }
  std::sort(files.begin(), files.end());

  std::vector<TPeer> peers = {{"xo", RunXo}};
#ifdef XO_HAVE_EXPAT
  peers.push_back({"expat", RunExpat});
#endif
#ifdef XO_HAVE_LIBXML2
  xmlInitParser();
  peers.push_back({"libxml2", RunLibxml2});
#endif
#ifdef XO_HAVE_PUGIXML
  peers.push_back({"pugixml", RunPugixml});
#endif

  if (!peerList.empty())
    peers.erase(std::remove_if(peers.begin(), peers.end(),
                               [&](const TPeer& p) { return peerList.find("," + std::string(p.Name) + ",") == std::string::npos; }),
                peers.end());
  std::printf("%-16s %8s", "file", "MB");
  for (const TPeer& p : peers) std::printf(" %9s", (std::string(p.Name) + " MB/s").c_str());
  for (size_t i = 1; i < peers.size(); ++i) std::printf(" %11s", (std::string("xo/") + peers[i].Name).c_str());
  std::printf("\n");
  for (const std::string& name : files) {
    const std::string doc = ReadFile(dir + "/" + name);
    std::vector<std::vector<double>> times(peers.size());
    std::vector<bool> ok(peers.size(), true);
    for (size_t p = 0; p < peers.size(); ++p) ok[p] = peers[p].Run(doc);  // warm-up round
    for (int r = 0; r < rounds; ++r) {
      for (size_t p = 0; p < peers.size(); ++p) {
        const double t0 = CpuNow();
        peers[p].Run(doc);
        times[p].push_back(CpuNow() - t0);
      }
    }
    const double mb = static_cast<double>(doc.size()) / 1e6;
    std::printf("%-16s %8.1f", name.c_str(), mb);
    std::vector<double> rate(peers.size());
    for (size_t p = 0; p < peers.size(); ++p) {
      rate[p] = ok[p] ? mb / Median(times[p]) : 0;
      std::printf(" %9.1f", rate[p]);
    }
    for (size_t p = 1; p < peers.size(); ++p) std::printf(" %11.2f", rate[p] > 0 ? rate[0] / rate[p] : 0.0);
    std::printf("\n");
    std::fflush(stdout);
  }
  return gEvents == 0 ? 1 : 0;
}
