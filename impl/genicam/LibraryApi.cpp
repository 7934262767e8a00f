// Library life: GenICamInit and GenICamDeinit.
#include "impl/genicam/ApiBoundary.h"
#include "impl/genicam/ApiCallFrame.h"
#include "include/tgx_genicam.h"
#include "runtime/board/BoardBinding.h"
#include "runtime/logging/LogMessage.h"
#include "runtime/templates/LibraryInitController.h"

using orva::templates::platform::LibraryInitController;

namespace orva::genicam {

namespace {
// The board libraries stay loaded for the life of the process: their
// clean-up does nothing.
void BindOrvaHal() {
    board::BindOrvaHal();
}
void BindDsgrt() {
    board::BindDsgrt();
}
void BindGblib5() {
    board::BindGblib5();
}
void KeepLoaded() {}
} // namespace

void LogEscapedException(const char* functionName, const char* what) {
    try {
        ORVA_LOG(LibraryLogger(), tools::logging::LevelError, functionName << ": unexpected exception: " << what);
    } catch (...) {
        // Logging itself failed (out of memory): nothing more to do.
    }
}

} // namespace orva::genicam

extern "C" {

TGX_API void GenICamInit(void) {
    orva::genicam::CallGuarded("GenICamInit", 0, [] {
        LibraryInitController::Init();
        // A missing library leaves its table empty; the failure shows when one
        // of its operations is called.
        LibraryInitController::Register(&orva::genicam::BindOrvaHal, &orva::genicam::KeepLoaded);
        LibraryInitController::Register(&orva::genicam::BindDsgrt, &orva::genicam::KeepLoaded);
        LibraryInitController::Register(&orva::genicam::BindGblib5, &orva::genicam::KeepLoaded);
        orva::genicam::LibraryLogger();
        return 0;
    });
}

TGX_API void GenICamDeinit(void) {
    orva::genicam::CallGuarded("GenICamDeinit", 0, [] {
        LibraryInitController::Deinit();
        orva::genicam::ResetLibraryLogger();
        return 0;
    });
}

} // extern "C"
