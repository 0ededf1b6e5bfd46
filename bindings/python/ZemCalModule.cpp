// The Python module `zemcal`: a calibration object over the C interface,
// with numpy arrays of points in and out.
//
// Every call goes through zemcal_c.h, so Python sees the very results of the
// C and C++ hosts; a failed call raises through check(), the one place that
// turns a status into a Python exception carrying the library's sentence.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <zemcal/zemcal_c.h>

#include <mutex>
#include <shared_mutex>
#include <string>

namespace py = pybind11;

namespace {

// Raises the Python exception for a failed status: files that cannot be
// opened or written are OSError, refused contents and arguments ValueError.
void check(zemcal_status status) {
    if (status == ZEMCAL_OK) return;
    const std::string message = zemcal_last_error();
    switch (status) {
    case ZEMCAL_ERR_FILE:
        PyErr_SetString(PyExc_OSError, message.c_str());
        throw py::error_already_set();
    case ZEMCAL_ERR_MEMORY: throw std::bad_alloc();
    case ZEMCAL_ERR_INTERNAL: throw std::runtime_error(message);
    default: throw py::value_error(message);
    }
}

std::string pathOf(const py::object& path) {
    return py::str(py::module_::import("os").attr("fspath")(path)).cast<std::string>();
}

// One loaded calibration. Points may be corrected from several threads at
// once (the GIL is released meanwhile); save waits for them, since it
// refits the record they read.
class Calibration {
public:
    explicit Calibration(zemcal_calibration* cal) : cal_(cal) {}
    Calibration(const Calibration&) = delete;
    Calibration& operator=(const Calibration&) = delete;
    ~Calibration() { zemcal_free(cal_); }

    static std::unique_ptr<Calibration> load(const py::object& path, const py::object& fieldSize) {
        const std::string p = pathOf(path);
        const double fs = fieldSize.is_none() ? 0.0 : fieldSize.cast<double>();
        if (!fieldSize.is_none() && !(fs > 0.0))
            throw py::value_error("field_size must be a positive number of millimetres");
        zemcal_calibration* cal = nullptr;
        check(zemcal_load(p.c_str(), fs, &cal));
        return std::make_unique<Calibration>(cal);
    }

    void save(const py::object& path, const py::object& version) {
        const std::string p = pathOf(path);
        int v = -1;
        if (py::isinstance<py::str>(version)) {
            const std::string s = version.cast<std::string>();
            if (s.size() != 1) throw py::value_error("version must be one character or a number 0..255");
            v = static_cast<unsigned char>(s[0]);
        } else if (!version.is_none()) {
            v = version.cast<int>();
            if (v < 0 || v > 255) throw py::value_error("version must be one character or a number 0..255");
        }
        std::unique_lock<std::shared_mutex> lock(mutex_);
        check(zemcal_save(cal_, p.c_str(), v));
    }

    py::array_t<float> correct(const py::array& points) const {
        if (points.ndim() != 2 || points.shape(1) != 2)
            throw py::value_error("points must be an (N, 2) array of x, y in millimetres");
        const char kind = points.dtype().kind();
        if (kind != 'f' && kind != 'i' && kind != 'u')
            throw py::type_error("points must be real numbers (float32, float64 or integers)");
        // Contiguous float32 is read where it is; anything else is converted
        // to float32 (as the library's points are) into a contiguous copy.
        using Floats = py::array_t<float, py::array::c_style | py::array::forcecast>;
        const Floats in = Floats::ensure(points);
        if (!in) throw py::error_already_set();
        const auto n = static_cast<size_t>(in.shape(0));
        Floats out({static_cast<py::ssize_t>(n), static_cast<py::ssize_t>(2)});
        const float* src = in.data();
        float* dst = out.mutable_data();
        {
            py::gil_scoped_release released;
            std::shared_lock<std::shared_mutex> lock(mutex_);
            zemcal_correct_array(cal_, src, dst, n);  // cannot fail: valid handle, arrays sized
        }
        return out;
    }

    py::dict info() const {
        zemcal_info i{};
        check(zemcal_get_info(cal_, &i, sizeof i));
        py::list tables;
        for (int t = 0; t < i.table_count; ++t) {
            int n = 0;
            check(zemcal_get_table_size(cal_, t, &n));
            tables.append(n);
        }
        py::dict d;
        d["field_size"] = i.field_size;
        d["working_size"] = i.working_size;
        d["resolution"] = i.resolution;
        d["center"] = i.center;
        d["xy_flip"] = i.xy_flip;
        d["x_invert"] = i.x_invert;
        d["y_invert"] = i.y_invert;
        d["xy_flip_lsm"] = i.xy_flip_lsm;
        d["x_invert_lsm"] = i.x_invert_lsm;
        d["y_invert_lsm"] = i.y_invert_lsm;
        d["version"] = i.version;
        d["binary"] = i.binary != 0;
        d["tables"] = tables;
        return d;
    }

private:
    zemcal_calibration* cal_;
    mutable std::shared_mutex mutex_;
};

}  // namespace

PYBIND11_MODULE(zemcal, m) {
    m.doc() =
        "Field calibration of a two-axis galvanometer scan head (libZemCal).\n\n"
        "Logical points in millimetres, field centre at the origin, y up, in;\n"
        "device points in galvo units from 0 to the resolution, out.";
    m.attr("__version__") = zemcal_version();

    py::class_<Calibration>(m, "Calibration",
                            "A calibration loaded from a file, prepared for correcting points.")
        .def_static("load", &Calibration::load, py::arg("path"), py::arg("field_size") = py::none(),
                    "Loads a binary calibration file, or imports and fits a text correction\n"
                    "file. field_size (mm) is the device span of a text file, which does not\n"
                    "carry it (default 100; a binary file's own value wins).\n"
                    "Raises OSError for a file that cannot be read, ValueError for contents\n"
                    "the library refuses, with the message the zemcal tool prints.")
        .def("save", &Calibration::save, py::arg("path"), py::arg("version") = py::none(),
             "Saves as a binary calibration file, atomically: stamps the version byte\n"
             "(one character such as 'P', or a number 0..255; default: keep), refits and\n"
             "writes. Points are then corrected with the refitted calibration.")
        .def("correct", &Calibration::correct, py::arg("points"),
             "Corrects an (N, 2) array of logical points (x, y in mm) to an (N, 2) float32\n"
             "array of device points (galvo units). A C-contiguous float32 array is read\n"
             "in place; other real arrays are converted to float32 first.")
        .def("info", &Calibration::info,
             "The basic fields as a dict: field_size and working_size (mm), resolution and\n"
             "center (galvo units), the axis flags of the manual and least-squares paths,\n"
             "version (the byte), binary (loaded from a binary file) and tables (the grid\n"
             "dimension n of each n x n table).");
}
