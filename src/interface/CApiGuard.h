// The one place where the C interface turns C++ outcomes into statuses.
//
// Every entry point runs its body through guard(): a C++ exception never
// crosses the C boundary, and each failure leaves exactly one sentence in the
// calling thread's last-error message. Later entry points (pattern, fit,
// solve, out-of-field reports) add their failures here, not at the call.
#pragma once

#include <zemcal/CalibFile.h>
#include <zemcal/zemcal_c.h>

#include <new>
#include <string>

namespace zemcal_detail {

/// The calling thread's last-error message (zemcal_last_error).
std::string& lastError() noexcept;

/// Records message as the last error and returns status.
zemcal_status failWith(zemcal_status status, const char* message) noexcept;
zemcal_status failWith(zemcal_status status, const std::string& message) noexcept;

/// Records "call: what" as the last error and returns status.
zemcal_status failIn(zemcal_status status, const char* call, const char* what) noexcept;

/// The C status for a CCalibFile status.
zemcal_status toStatus(CCalibFile::Status status) noexcept;

/// Runs body (returning zemcal_status); any exception becomes a status with
/// its message, so that nothing escapes into C.
template <class Body>
zemcal_status guard(const char* call, Body&& body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return failIn(ZEMCAL_ERR_MEMORY, call, "not enough memory");
    } catch (const std::exception& e) {
        return failIn(ZEMCAL_ERR_INTERNAL, call, e.what());
    } catch (...) {
        return failIn(ZEMCAL_ERR_INTERNAL, call, "unexpected failure");
    }
}

}  // namespace zemcal_detail
