// The one shape of a log site: test the level, and only then build the text.
//
//   ORVA_LOG(logger, LevelDebug, "Port " << port << " locked");
//
// Level 1 lines carry the source position; all lines carry the thread id:
//   "source-file=<path>,source-line=<n>,thread-id=<id>|<message>"   (level 1)
//   "thread-id=<id>|<message>"                                       (levels 2-5)
#pragma once

#include <sstream>

#include "runtime/logging/Logger.h"
#include "runtime/templates/ThreadId.h"

namespace orva::tools::logging {

inline void AppendLinePrefix(std::ostream& out, uint32_t level, const char* file, int line) {
    if (level == LevelTrace) {
        out << "source-file=" << file << ",source-line=" << line << ',';
    }
    out << "thread-id=" << orva::templates::platform::CurrentThreadId() << '|';
}

} // namespace orva::tools::logging

#define ORVA_LOG(logger, level, expr)                                                                                  \
    do {                                                                                                               \
        const ::orva::tools::logging::Logger* orvaLogger_ = (logger);                                                  \
        if (orvaLogger_ != nullptr && orvaLogger_->IsEnabled(level)) {                                                 \
            std::ostringstream orvaLine_;                                                                              \
            ::orva::tools::logging::AppendLinePrefix(orvaLine_, (level), __FILE__, __LINE__);                          \
            orvaLine_ << expr; /* NOLINT(bugprone-macro-parentheses): a stream chain */                                \
            orvaLogger_->Log((level), orvaLine_.str());                                                                \
        }                                                                                                              \
    } while (0)
