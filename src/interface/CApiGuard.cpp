// The C interface's last-error message and status translation.
#include "interface/CApiGuard.h"

namespace zemcal_detail {

std::string& lastError() noexcept {
    // One per thread: a failure on one thread never hides another's.
    thread_local std::string message;
    return message;
}

zemcal_status failWith(zemcal_status status, const char* message) noexcept {
    try {
        lastError() = message;
    } catch (...) {
        lastError().clear();  // no memory even for the sentence: the status still tells
    }
    return status;
}

zemcal_status failWith(zemcal_status status, const std::string& message) noexcept {
    return failWith(status, message.c_str());
}

zemcal_status failIn(zemcal_status status, const char* call, const char* what) noexcept {
    try {
        return failWith(status, std::string(call) + ": " + what);
    } catch (...) {
        return failWith(status, what);
    }
}

zemcal_status toStatus(CCalibFile::Status status) noexcept {
    switch (status) {
    case CCalibFile::Ok: return ZEMCAL_OK;
    case CCalibFile::BadArgument: return ZEMCAL_ERR_ARGUMENT;
    case CCalibFile::FileError: return ZEMCAL_ERR_FILE;
    case CCalibFile::DataError: return ZEMCAL_ERR_DATA;
    case CCalibFile::NoMemory: return ZEMCAL_ERR_MEMORY;
    }
    return ZEMCAL_ERR_INTERNAL;
}

}  // namespace zemcal_detail
