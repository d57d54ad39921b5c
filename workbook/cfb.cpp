#include "workbook/cfb.h"

#include <algorithm>
#include <cstring>

namespace workbook::cfb {
namespace {

constexpr std::uint32_t kMaxRegular = 0xFFFFFFFA;
constexpr std::uint32_t kDifSector = 0xFFFFFFFC;
constexpr std::uint32_t kFatSector = 0xFFFFFFFD;
constexpr std::uint32_t kEndOfChain = 0xFFFFFFFE;
constexpr std::uint32_t kFreeSector = 0xFFFFFFFF;
constexpr std::size_t kMiniCutoff = 4096;
constexpr std::size_t kMiniSector = 64;
constexpr std::size_t kHeaderDifat = 109;
constexpr std::uint64_t kWholeChain = ~std::uint64_t(0);
constexpr std::uint8_t kSignature[8] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};

std::uint32_t Get32(const std::uint8_t* p) {
  return p[0] | p[1] << 8 | p[2] << 16 | std::uint32_t(p[3]) << 24;
}
std::uint16_t Get16(const std::uint8_t* p) { return std::uint16_t(p[0] | p[1] << 8); }
void Put32(std::uint8_t* p, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = std::uint8_t(v >> (8 * i));
}
void Put16(std::uint8_t* p, std::uint16_t v) {
  p[0] = std::uint8_t(v);
  p[1] = std::uint8_t(v >> 8);
}

std::string Name(const Entry& e) {
  std::string out;
  for (char16_t c : e.name()) out += c < 0x80 ? char(c) : '?';
  return out;
}

std::uint64_t StreamSize(const Entry& e, std::uint16_t major) {
  std::uint64_t size = Get32(&e.raw[120]);
  if (major == 4) size |= std::uint64_t(Get32(&e.raw[124])) << 32;
  return size;
}

class Reader {
 public:
  explicit Reader(std::string_view bytes) : bytes_(bytes) {}

  File Read() {
    if (bytes_.size() < 512 || std::memcmp(bytes_.data(), kSignature, 8) != 0)
      throw FormatError("not a compound file (no OLE2 signature)");
    const auto* h = reinterpret_cast<const std::uint8_t*>(bytes_.data());
    File file;
    file.major_version = Get16(h + 26);
    std::uint16_t shift = Get16(h + 30);
    if (Get16(h + 28) != 0xFFFE) throw FormatError("compound file: bad byte-order mark");
    if (!(file.major_version == 3 && shift == 9) && !(file.major_version == 4 && shift == 12))
      throw FormatError("compound file: unsupported version or sector size");
    if (Get16(h + 32) != 6 || Get32(h + 56) != kMiniCutoff)
      throw FormatError("compound file: unsupported mini sector size or cutoff");
    std::memcpy(file.header.data(), h, file.header.size());
    sector_ = std::size_t(1) << shift;
    if (bytes_.size() < sector_) throw FormatError("compound file truncated in its header");
    sectors_ = (bytes_.size() - sector_ + sector_ - 1) / sector_;

    ReadFat(h);
    std::string dir = ReadChain(fat_, Get32(h + 48), kWholeChain, sector_, "directory");
    if (dir.size() < 128) throw FormatError("compound file: empty directory");
    file.entries.resize(dir.size() / 128);
    for (std::size_t i = 0; i < file.entries.size(); ++i)
      std::memcpy(file.entries[i].raw.data(), dir.data() + 128 * i, 128);
    Entry& root = file.entries[0];
    if (root.type() != kRoot) throw FormatError("compound file: no root entry");

    std::uint32_t mini_fat_start = Get32(h + 60);
    if (mini_fat_start != kEndOfChain) {
      std::string bytes = ReadChain(fat_, mini_fat_start, kWholeChain, sector_, "mini FAT");
      mini_fat_.resize(bytes.size() / 4);
      for (std::size_t i = 0; i < mini_fat_.size(); ++i)
        mini_fat_[i] = Get32(reinterpret_cast<const std::uint8_t*>(bytes.data()) + 4 * i);
    }
    std::uint64_t mini_size = StreamSize(root, file.major_version);
    if (mini_size > bytes_.size()) throw FormatError("compound file: mini stream too large");
    if (mini_size > 0)
      mini_stream_ = ReadChain(fat_, Get32(&root.raw[116]), mini_size, sector_, "mini stream");

    for (Entry& e : file.entries) {
      std::uint8_t type = e.type();
      if (type != kUnused && type != kStorage && type != kStream && type != kRoot)
        throw FormatError("compound file: bad directory entry type");
      if (type != kStream) continue;
      std::uint64_t size = StreamSize(e, file.major_version);
      if (size > bytes_.size())
        throw FormatError("compound file: stream " + Name(e) + " is larger than the file");
      std::uint32_t start = Get32(&e.raw[116]);
      if (size == 0) continue;
      if (size < kMiniCutoff)
        e.data = ReadMini(start, size, Name(e));
      else
        e.data = ReadChain(fat_, start, size, sector_, "stream " + Name(e));
    }
    return file;
  }

 private:
  // Copies sector `s` (zero-filled past a short last sector).
  void CopySector(std::uint32_t s, std::uint8_t* out) const {
    if (s >= sectors_) throw FormatError("compound file truncated: sector beyond the end");
    std::size_t at = (std::size_t(s) + 1) * sector_;
    std::size_t n = std::min(sector_, bytes_.size() - at);
    std::memcpy(out, bytes_.data() + at, n);
    std::memset(out + n, 0, sector_ - n);
  }

  void ReadFat(const std::uint8_t* h) {
    std::uint32_t fat_count = Get32(h + 44);
    if (fat_count > sectors_) throw FormatError("compound file: FAT larger than the file");
    std::vector<std::uint32_t> fat_sectors;
    for (std::size_t i = 0; i < std::min<std::size_t>(fat_count, kHeaderDifat); ++i)
      fat_sectors.push_back(Get32(h + 76 + 4 * i));
    std::vector<std::uint8_t> buf(sector_);
    const std::size_t per_sector = sector_ / 4;
    std::uint32_t difat = Get32(h + 68);
    std::vector<bool> seen(sectors_);
    while (fat_sectors.size() < fat_count) {
      if (difat >= sectors_ || seen[difat])
        throw FormatError("compound file: DIFAT chain broken or looping");
      seen[difat] = true;
      CopySector(difat, buf.data());
      for (std::size_t j = 0; j + 1 < per_sector && fat_sectors.size() < fat_count; ++j)
        fat_sectors.push_back(Get32(&buf[4 * j]));
      difat = Get32(&buf[4 * (per_sector - 1)]);
    }
    fat_.reserve(fat_sectors.size() * per_sector);
    for (std::uint32_t s : fat_sectors) {
      CopySector(s, buf.data());
      for (std::size_t j = 0; j < per_sector; ++j) fat_.push_back(Get32(&buf[4 * j]));
    }
  }

  // Follows a chain in `table` from `start`; `size` bytes, or the whole chain
  // when size is kWholeChain. Chains that end early, leave the table or visit
  // a sector twice are errors.
  std::string ReadChain(const std::vector<std::uint32_t>& table, std::uint32_t start,
                        std::uint64_t size, std::size_t unit, const std::string& what) const {
    const bool whole = size == kWholeChain;
    std::string out;
    if (!whole) out.reserve(size);
    std::vector<bool> seen(table.size());
    std::vector<std::uint8_t> buf(sector_);
    std::uint32_t s = start;
    while (whole ? s != kEndOfChain : out.size() < size) {
      if (s >= table.size()) throw FormatError("compound file: broken sector chain in " + what);
      if (seen[s]) throw FormatError("compound file: sector chain of " + what + " loops");
      seen[s] = true;
      std::size_t n = whole ? unit : std::min<std::uint64_t>(unit, size - out.size());
      if (&table == &fat_) {
        CopySector(s, buf.data());
        out.append(reinterpret_cast<const char*>(buf.data()), n);
      } else {
        std::size_t at = std::size_t(s) * kMiniSector;
        if (at + n > mini_stream_.size())
          throw FormatError("compound file: " + what + " lies beyond the mini stream");
        out.append(mini_stream_, at, n);
      }
      s = table[s];
    }
    return out;
  }

  std::string ReadMini(std::uint32_t start, std::uint64_t size, const std::string& name) const {
    return ReadChain(mini_fat_, start, size, kMiniSector, "stream " + name);
  }

  std::string_view bytes_;
  std::size_t sector_ = 512;
  std::size_t sectors_ = 0;
  std::vector<std::uint32_t> fat_;
  std::vector<std::uint32_t> mini_fat_;
  std::string mini_stream_;
};

std::size_t Ceil(std::size_t a, std::size_t b) { return (a + b - 1) / b; }

}  // namespace

std::u16string Entry::name() const {
  std::size_t bytes = std::min<std::size_t>(Get16(&raw[64]), 64);
  std::u16string out;
  for (std::size_t i = 0; i + 1 < bytes; i += 2) {
    char16_t c = char16_t(Get16(&raw[i]));
    if (c == 0) break;
    out += c;
  }
  return out;
}

int File::Find(std::u16string_view name) const {
  // Walks the root's child tree; the guard stops on a malformed, looping tree.
  std::vector<std::uint32_t> todo{Get32(&entries[0].raw[76])};
  std::vector<bool> seen(entries.size());
  while (!todo.empty()) {
    std::uint32_t i = todo.back();
    todo.pop_back();
    if (i >= entries.size() || seen[i]) continue;
    seen[i] = true;
    const Entry& e = entries[i];
    if (e.type() != kUnused && e.name() == name) return int(i);
    todo.push_back(Get32(&e.raw[68]));
    todo.push_back(Get32(&e.raw[72]));
  }
  return -1;
}

File Read(std::string_view bytes) { return Reader(bytes).Read(); }

std::string Write(const File& file) {
  const std::size_t sector = file.major_version == 4 ? 4096 : 512;
  const std::size_t per_sector = sector / 4;

  // Directory: whole sectors of entries, padded with unused ones.
  std::vector<Entry> entries = file.entries;
  while (entries.size() * 128 % sector != 0) {
    Entry pad;
    for (int at : {68, 72, 76}) Put32(&pad.raw[at], kFreeSector);
    entries.push_back(pad);
  }
  const std::size_t dir_sectors = entries.size() * 128 / sector;

  // Small streams go into the mini stream, the others into the FAT.
  std::size_t mini_sectors = 0, big_sectors = 0;
  for (const Entry& e : entries) {
    if (e.type() != kStream || e.data.empty()) continue;
    if (e.data.size() < kMiniCutoff)
      mini_sectors += Ceil(e.data.size(), kMiniSector);
    else
      big_sectors += Ceil(e.data.size(), sector);
  }
  const std::size_t mini_fat_sectors = Ceil(mini_sectors * 4, sector);
  const std::size_t mini_stream_sectors = Ceil(mini_sectors * kMiniSector, sector);
  const std::size_t content = dir_sectors + mini_fat_sectors + mini_stream_sectors + big_sectors;
  std::size_t fat_sectors = Ceil(content, per_sector), difat_sectors = 0;
  for (;;) {
    difat_sectors =
        fat_sectors > kHeaderDifat ? Ceil(fat_sectors - kHeaderDifat, per_sector - 1) : 0;
    if (fat_sectors * per_sector >= content + fat_sectors + difat_sectors) break;
    ++fat_sectors;
  }
  const std::size_t total = fat_sectors + difat_sectors + content;
  std::string out((total + 1) * sector, '\0');
  auto* base = reinterpret_cast<std::uint8_t*>(out.data());
  auto at = [&](std::size_t s) { return base + (s + 1) * sector; };

  std::vector<std::uint32_t> fat(fat_sectors * per_sector, kFreeSector);
  std::size_t next = 0;
  auto allocate = [&](std::size_t count, std::uint32_t mark) {
    std::size_t first = next;
    for (std::size_t i = 0; i < count; ++i, ++next)
      fat[next] = mark != kEndOfChain ? mark : (i + 1 < count ? next + 1 : kEndOfChain);
    return std::uint32_t(count ? first : kEndOfChain);
  };
  const std::uint32_t fat_start = allocate(fat_sectors, kFatSector);
  const std::uint32_t difat_start = allocate(difat_sectors, kDifSector);
  const std::uint32_t dir_start = allocate(dir_sectors, kEndOfChain);
  const std::uint32_t mini_fat_start = allocate(mini_fat_sectors, kEndOfChain);
  const std::uint32_t mini_stream_start = allocate(mini_stream_sectors, kEndOfChain);

  // Stream contents and their chains.
  std::vector<std::uint32_t> mini_fat(mini_fat_sectors * per_sector, kFreeSector);
  std::size_t next_mini = 0;
  for (Entry& e : entries) {
    if (e.type() == kRoot) {
      Put32(&e.raw[116], mini_stream_start);
      Put32(&e.raw[120], std::uint32_t(mini_sectors * kMiniSector));
      Put32(&e.raw[124], 0);
    }
    if (e.type() != kStream) continue;
    std::uint32_t start = kEndOfChain;
    if (!e.data.empty() && e.data.size() < kMiniCutoff) {
      std::size_t count = Ceil(e.data.size(), kMiniSector);
      start = std::uint32_t(next_mini);
      for (std::size_t i = 0; i < count; ++i, ++next_mini)
        mini_fat[next_mini] = i + 1 < count ? next_mini + 1 : kEndOfChain;
      std::memcpy(at(mini_stream_start) + start * kMiniSector, e.data.data(), e.data.size());
    } else if (!e.data.empty()) {
      start = allocate(Ceil(e.data.size(), sector), kEndOfChain);
      std::memcpy(at(start), e.data.data(), e.data.size());
    }
    Put32(&e.raw[116], start);
    Put32(&e.raw[120], std::uint32_t(e.data.size()));
    Put32(&e.raw[124], std::uint32_t(std::uint64_t(e.data.size()) >> 32));
  }
  for (std::size_t i = 0; i < entries.size(); ++i)
    std::memcpy(at(dir_start) + 128 * i, entries[i].raw.data(), 128);
  for (std::size_t i = 0; i < mini_fat.size(); ++i) Put32(at(mini_fat_start) + 4 * i, mini_fat[i]);
  for (std::size_t i = 0; i < fat.size(); ++i) Put32(at(fat_start) + 4 * i, fat[i]);

  // Header and DIFAT.
  std::memcpy(base, file.header.data(), file.header.size());
  Put16(base + 26, file.major_version);
  Put16(base + 30, file.major_version == 4 ? 12 : 9);
  Put32(base + 40, file.major_version == 4 ? std::uint32_t(dir_sectors) : 0);
  Put32(base + 44, std::uint32_t(fat_sectors));
  Put32(base + 48, dir_start);
  Put32(base + 52, 0);
  Put32(base + 60, mini_fat_start);
  Put32(base + 64, std::uint32_t(mini_fat_sectors));
  Put32(base + 68, difat_start);
  Put32(base + 72, std::uint32_t(difat_sectors));
  for (std::size_t i = 0; i < kHeaderDifat; ++i)
    Put32(base + 76 + 4 * i, i < fat_sectors ? std::uint32_t(fat_start + i) : kFreeSector);
  for (std::size_t d = 0; d < difat_sectors; ++d) {
    std::uint8_t* p = at(difat_start + d);
    for (std::size_t j = 0; j + 1 < per_sector; ++j) {
      std::size_t f = kHeaderDifat + d * (per_sector - 1) + j;
      Put32(p + 4 * j, f < fat_sectors ? std::uint32_t(fat_start + f) : kFreeSector);
    }
    Put32(p + 4 * (per_sector - 1),
          d + 1 < difat_sectors ? std::uint32_t(difat_start + d + 1) : kEndOfChain);
  }
  return out;
}

}  // namespace workbook::cfb
