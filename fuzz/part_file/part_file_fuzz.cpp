// The part-file readers under libFuzzer, in the program's own process (so
// that the fuzzer sees what the reader does):
//   fuzz_part_file_step  any bytes as a STEP file (OpenStep)
//   fuzz_part_file_part  any bytes as the contents of a part file, with a
//                        valid check record added, so that every input
//                        reaches the document reader (OpenPartFile)
// Either the file is read, and then every body has a shape and a layer in
// range, or a HostError names the file. A crash in the kernel's own code is
// what the tool's reading child is there for; scripts/fuzz.sh runs these
// targets with -fork so that the run goes on after one and counts them.
#include <unistd.h>
#include <zlib.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/layers.h"
#include "host/memory/memory_host.h"
#include "host/memory/part_file.h"
#include "host/text.h"
#include "host/types.h"

namespace {

const std::string& ScratchFile() {
  static const std::string path = [] {
    const char* tmp = std::getenv("TMPDIR");
    return std::string(tmp && *tmp ? tmp : "/tmp") + "/fuzz-part-file-" +
           std::to_string(::getpid()) +
#ifdef FUZZ_STEP
           ".step";
#else
           ".xbf";
#endif
  }();
  return path;
}

void Write(const std::string& path, const std::string& bytes) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) std::abort();
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);
}

void CheckModel(memory::MemoryHost& host) {
  for (host::Tag b : host.bodies().PartBodies(host.session().WorkPart())) {
    const int layer = host.objects().Layer(b);
    if (layer < host::kFirstLayer || layer > host::kLastLayer) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string bytes(reinterpret_cast<const char*>(data), size);
#ifdef FUZZ_PART
  const unsigned long crc =
      ::crc32(0L, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size()));
  bytes += "DIEBOMPF" + text::Format("%08lx%016llx", crc, static_cast<unsigned long long>(size));
#endif
  const std::string& path = ScratchFile();
  Write(path, bytes);
  memory::MemoryHost host;
  try {
#ifdef FUZZ_STEP
    memory::OpenStep(host, path);
#else
    memory::OpenPartFile(host, path);
#endif
  } catch (const host::HostError& e) {
    if (std::string(e.what()).find("fuzz-part-file-") == std::string::npos) std::abort();
    return 0;
  }
  CheckModel(host);
  return 0;
}
