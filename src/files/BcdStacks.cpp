// The grid-table section of the binary calibration file.
//
// At 60000 the file holds the number of tables N and a list of their sizes;
// at 64000 each table follows as n, Flag and n*n point pairs. The n in a
// table's own header is the one that counts: the list is only a fallback for
// a header the file no longer holds.
//
// Every size here comes from the file, so the loader first walks the table
// headers and adds up the points they declare, and only then allocates. It
// refuses the file (false, no tables) when
//   - N is above kMaxTables,
//   - all tables together declare more than kMaxPoints points, or
//   - they declare more points than the file has bytes. A complete file
//     spends 16 bytes on every point, so any real file passes this with a
//     margin of 16, even when it was cut short; it ties the memory a file can
//     claim to its own size (at most 16 bytes per byte of file).
// n*n is formed in 64 bits, so no size can overflow on the way.
//
// A negative n holds no points: the table loads with Num 0 and no points,
// and the next table follows its 8 header bytes. After a load Num*Num is
// therefore always the number of points, which the grid code relies on.
//
// Within the limits a file loads as it always has: a table the file cuts
// short keeps the zero-filled rest of its n*n points, and a table whose
// header is missing keeps the listed size with all-zero points.
#include "files/BcdStacks.h"

#include <new>

#include "files/BcdLayout.h"

namespace zemcal::files {
namespace {

using namespace bcd;

/// Points held by a table of n points per side; none for n <= 0.
std::int64_t pointCount(std::int32_t n) { return n > 0 ? std::int64_t{n} * n : 0; }

/// One table as its header declares it, gathered before anything is allocated.
struct TableHeader {
    std::int32_t num = 0;
    std::int32_t flag = 0;
    std::int64_t points = 0;  ///< pointCount(num)
    long pointsAt = 0;        ///< file offset of its first point pair
};

}  // namespace

bool stacksCanBeSaved(const std::vector<tagStack>& stacks) {
    if (stacks.size() > static_cast<std::size_t>(kMaxTables)) return false;
    std::int64_t total = 0;
    for (const tagStack& s : stacks) {
        const std::int64_t points = pointCount(s.Num);
        if (points > kMaxPoints - total || static_cast<std::uint64_t>(points) > s.Pnts.size()) {
            return false;
        }
        total += points;
    }
    return true;
}

void writeStacks(FieldWriter& out, const std::vector<tagStack>& stacks) {
    if (stacks.empty()) return;
    out.seek(kTableCountAt);
    out.write(static_cast<std::int32_t>(stacks.size()));
    for (const tagStack& s : stacks) out.write(s.Num);
    out.seek(kTablesAt);
    for (const tagStack& s : stacks) {
        out.write(s.Num);
        out.write(s.Flag);
        out.writeImage(s.Pnts.data(), static_cast<std::size_t>(pointCount(s.Num)) * sizeof(tagCalData));
    }
}

bool readStacks(FieldReader& in, std::int64_t fileSize, std::vector<tagStack>& stacks) {
    std::int32_t count = -1;
    if (!in.seek(kTableCountAt) || !in.read(count) || count < 1) return true;
    if (count > kMaxTables) return false;

    // The size list; an entry the file does not hold stays 0.
    std::vector<TableHeader> tables(static_cast<std::size_t>(count));
    for (TableHeader& t : tables) {
        if (!in.read(t.num)) break;
    }

    // The headers: each sits right after the points its predecessor declares.
    std::int64_t at = kTablesAt;
    std::int64_t total = 0;
    for (TableHeader& t : tables) {
        if (in.seek(static_cast<long>(at)) && in.read(t.num)) in.read(t.flag);
        if (t.num < 0) t.num = 0;
        t.points = pointCount(t.num);
        if (t.points > kMaxPoints - total || t.points > fileSize - total) return false;
        total += t.points;
        t.pointsAt = static_cast<long>(at + 8);
        at = t.pointsAt + t.points * static_cast<std::int64_t>(sizeof(tagCalData));
    }

    try {
        stacks.resize(tables.size());
        for (std::size_t i = 0; i < tables.size(); ++i) {
            const TableHeader& t = tables[i];
            tagStack& s = stacks[i];
            s.Num = t.num;
            s.Flag = t.flag;
            s.Pnts.resize(static_cast<std::size_t>(t.points));
            if (t.points > 0 && in.seek(t.pointsAt)) {
                in.readImage(s.Pnts.data(), static_cast<std::size_t>(t.points) * sizeof(tagCalData));
            }
        }
    } catch (const std::bad_alloc&) {
        stacks.clear();
        return false;
    }
    return true;
}

}  // namespace zemcal::files
