#include "core/genapi/AravisLog.h"

#include <glib.h>

#include <cstring>
#include <mutex>

#include "runtime/logging/LogMessage.h"
#include "runtime/logging/Logging.h"

namespace orva::core::genapi::detail {

namespace {

constexpr const char* kXmlDomain = "XML";
constexpr const char* kAravisDomain = "Aravis";

thread_local LoadErrorCapture* currentCapture = nullptr;
thread_local int aravisDepth = 0;

uint32_t LevelOf(GLogLevelFlags flags) {
    using namespace orva::tools::logging;
    if ((flags & (G_LOG_LEVEL_ERROR | G_LOG_LEVEL_CRITICAL)) != 0) {
        return LevelError;
    }
    if ((flags & G_LOG_LEVEL_WARNING) != 0) {
        return LevelWarning;
    }
    if ((flags & (G_LOG_LEVEL_MESSAGE | G_LOG_LEVEL_INFO)) != 0) {
        return LevelInfo;
    }
    return LevelDebug;
}

std::string Trimmed(const char* text) {
    std::string line = text != nullptr ? text : "";
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r' || line.back() == ' ')) {
        line.pop_back();
    }
    return line;
}

// Runs inside GLib: nothing may leave it by exception.
void Handler(const gchar* domain, GLogLevelFlags flags, const gchar* message, gpointer data) {
    if (domain == nullptr && aravisDepth == 0) {
        g_log_default_handler(domain, flags, message, data);
        return;
    }
    try {
        const std::string line = Trimmed(message);
        const uint32_t level = LevelOf(flags);
        const bool ofParser = domain != nullptr && std::strcmp(domain, kXmlDomain) == 0;
        if (currentCapture != nullptr && level >= orva::tools::logging::LevelWarning) {
            currentCapture->Add(ofParser, line);
        }
        // Looked up per line: lines are rare, and a logger kept across the
        // library's deinit would dangle.
        const orva::tools::logging::Logger* logger =
            orva::tools::logging::Logging::instance()->GetLogger(kAravisLoggerName);
        ORVA_LOG(logger, level, (domain != nullptr ? domain : "Aravis") << ": " << line);
    } catch (...) {
        // Dropping a log line is all that can be done here.
        (void)0;
    }
}

} // namespace

void RouteAravisLog() {
    static std::once_flag once;
    std::call_once(once, [] {
        const auto levels = static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK | G_LOG_FLAG_FATAL | G_LOG_FLAG_RECURSION);
        g_log_set_handler(kXmlDomain, levels, Handler, nullptr);
        g_log_set_handler(kAravisDomain, levels, Handler, nullptr);
        g_log_set_handler(nullptr, levels, Handler, nullptr);
    });
}

AravisScope::AravisScope() {
    ++aravisDepth;
}

AravisScope::~AravisScope() {
    --aravisDepth;
}

LoadErrorCapture::LoadErrorCapture() : previous_(currentCapture) {
    currentCapture = this;
}

LoadErrorCapture::~LoadErrorCapture() {
    currentCapture = previous_;
}

} // namespace orva::core::genapi::detail
