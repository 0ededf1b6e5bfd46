// The C interface: thin entry points over CCalibFile and CPointCorrector.
// Each checks its pointers, runs through guard() (CApiGuard.h) and reports
// failures there; the results are those of the C++ classes, unchanged.
#include <zemcal/zemcal_c.h>

#include <zemcal/CalibFile.h>
#include <zemcal/PointCorrector.h>
#include <zemcal/Version.h>

#include <cstring>
#include <memory>
#include <type_traits>

#include "interface/CApiGuard.h"

using zemcal_detail::failWith;
using zemcal_detail::guard;
using zemcal_detail::toStatus;

// Interleaved x, y floats are read as tagVeyPointF: two floats, no padding.
static_assert(sizeof(tagVeyPointF) == 2 * sizeof(float), "a point is two floats");
static_assert(alignof(tagVeyPointF) == alignof(float), "points align as floats");
static_assert(std::is_standard_layout<tagVeyPointF>::value, "a point is a plain pair");

/// A loaded record with what was learnt loading it, and its prepared
/// least-squares correction.
struct zemcal_calibration {
    std::unique_ptr<tagLenPar> rec;  // large: kept off the stack
    tagLoadInfo info;
    CPointCorrector corrector;

    zemcal_calibration(std::unique_ptr<tagLenPar> r, const tagLoadInfo& i)
        : rec(std::move(r)), info(i), corrector(*rec, true) {}
};

namespace {

constexpr double kDefaultFieldSize = 100.0;  // mm, as the zemcal tool assumes

// what: "path is a null pointer" and the like.
zemcal_status nullArgument(const char* call, const char* what) noexcept {
    return zemcal_detail::failIn(ZEMCAL_ERR_ARGUMENT, call, what);
}

}  // namespace

const char* zemcal_last_error(void) {
    return zemcal_detail::lastError().c_str();
}

const char* zemcal_version(void) {
    return ZEMCAL_VERSION_STRING;
}

zemcal_status zemcal_load(const char* path, double field_size, zemcal_calibration** out) {
    return guard("zemcal_load", [&] {
        if (path == nullptr) return nullArgument("zemcal_load", "path is a null pointer");
        if (out == nullptr) return nullArgument("zemcal_load", "out is a null pointer");
        auto rec = std::make_unique<tagLenPar>();
        tagLoadInfo info;
        std::string message;
        const double fieldSize = field_size == 0.0 ? kDefaultFieldSize : field_size;
        const CCalibFile::Status s = CCalibFile::Load(path, fieldSize, false, *rec, info, message);
        if (s != CCalibFile::Ok) return failWith(toStatus(s), message);
        *out = new zemcal_calibration(std::move(rec), info);
        return ZEMCAL_OK;
    });
}

zemcal_status zemcal_save(zemcal_calibration* cal, const char* path, int version) {
    return guard("zemcal_save", [&] {
        if (cal == nullptr) return nullArgument("zemcal_save", "cal is a null pointer");
        if (path == nullptr) return nullArgument("zemcal_save", "path is a null pointer");
        if (version < -1 || version > 255)
            return failWith(ZEMCAL_ERR_ARGUMENT,
                            "zemcal_save: version must be -1 (keep) or a byte 0..255");
        const CalVerion ver =
            version < 0 ? cal->rec->Version : static_cast<CalVerion>(version);
        std::string message;
        const CCalibFile::Status s = CCalibFile::Save(path, *cal->rec, ver, message);
        // Saving refits the record: correct with what was saved from now on
        // (also after a failed write, which has refitted it as well).
        cal->corrector = CPointCorrector(*cal->rec, true);
        if (s != CCalibFile::Ok) return failWith(toStatus(s), message);
        return ZEMCAL_OK;
    });
}

zemcal_status zemcal_get_info(const zemcal_calibration* cal, zemcal_info* info, size_t info_size) {
    return guard("zemcal_get_info", [&] {
        if (cal == nullptr) return nullArgument("zemcal_get_info", "cal is a null pointer");
        if (info == nullptr) return nullArgument("zemcal_get_info", "info is a null pointer");
        const tagLenPar& r = *cal->rec;
        zemcal_info i{};
        i.field_size = r.FieldSize;
        i.working_size = r.ValSize;
        i.resolution = r.Resolution;
        i.center = r.Center;
        i.xy_flip = r.XYFlip;
        i.x_invert = r.XInvert;
        i.y_invert = r.YInvert;
        i.xy_flip_lsm = r.XYFlipSaved;
        i.x_invert_lsm = r.XInvertSaved;
        i.y_invert_lsm = r.YInvertSaved;
        i.version = static_cast<unsigned char>(r.Version);
        i.binary = cal->info.Binary ? 1 : 0;
        i.table_count = static_cast<int>(r.Stacks.size());
        // A caller built against an older, shorter zemcal_info gets its part.
        std::memcpy(info, &i, info_size < sizeof i ? info_size : sizeof i);
        return ZEMCAL_OK;
    });
}

zemcal_status zemcal_get_table_size(const zemcal_calibration* cal, int index, int* n) {
    return guard("zemcal_get_table_size", [&] {
        if (cal == nullptr) return nullArgument("zemcal_get_table_size", "cal is a null pointer");
        if (n == nullptr) return nullArgument("zemcal_get_table_size", "n is a null pointer");
        const auto& stacks = cal->rec->Stacks;
        if (index < 0 || static_cast<std::size_t>(index) >= stacks.size())
            return failWith(ZEMCAL_ERR_ARGUMENT,
                            "zemcal_get_table_size: table " + std::to_string(index) +
                                " does not exist (the calibration has " +
                                std::to_string(stacks.size()) + ")");
        *n = stacks[static_cast<std::size_t>(index)].Num;
        return ZEMCAL_OK;
    });
}

zemcal_status zemcal_correct(const zemcal_calibration* cal, float x, float y, float* out_x,
                             float* out_y) {
    if (cal == nullptr) return nullArgument("zemcal_correct", "cal is a null pointer");
    if (out_x == nullptr || out_y == nullptr) return nullArgument("zemcal_correct", "an output pointer is null");
    tagVeyPointF out;
    cal->corrector.Correct(tagVeyPointF{x, y}, out);  // noexcept: nothing to guard
    *out_x = out.x;
    *out_y = out.y;
    return ZEMCAL_OK;
}

zemcal_status zemcal_correct_array(const zemcal_calibration* cal, const float* in, float* out,
                                   size_t count) {
    if (cal == nullptr) return nullArgument("zemcal_correct_array", "cal is a null pointer");
    if (count == 0) return ZEMCAL_OK;
    if (in == nullptr) return nullArgument("zemcal_correct_array", "in is a null pointer");
    if (out == nullptr) return nullArgument("zemcal_correct_array", "out is a null pointer");
    // noexcept, and in place is allowed: out[i] is written after in[i] is read.
    cal->corrector.Correct(reinterpret_cast<const tagVeyPointF*>(in),
                           reinterpret_cast<tagVeyPointF*>(out), count);
    return ZEMCAL_OK;
}

void zemcal_free(zemcal_calibration* cal) {
    delete cal;
}
