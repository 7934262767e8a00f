// Aravis's log output in our logging.
//
// Aravis logs through GLib: the errors of the XML parser under its
// description loader in the domain "XML", failed preconditions in GLib's
// default domain, anything else in "Aravis". They go to the logger "orva.genicam.Aravis": error and
// critical at level 5, warning at 4, message and info at 3, debug at 2. The
// default domain is everybody's: its lines are taken only from a thread
// inside an AravisScope, and passed on to GLib's default handler otherwise
// (an application's own default handler, if it set one, is not reached for
// them: GLib doesn't tell which one is in force).
// Aravis's debug categories (ARV_DEBUG) write to standard error directly,
// past GLib, and stay off unless the user switches them on.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace orva::core::genapi::detail {

inline constexpr const char* kAravisLoggerName = "orva.genicam.Aravis";

// Installs the GLib handlers; the first call does it, later calls nothing.
// Thread-safe.
void RouteAravisLog();

// Marks the calling thread as working in Aravis for as long as it lives.
class AravisScope {
public:
    AravisScope();
    ~AravisScope();
    AravisScope(const AravisScope&) = delete;
    AravisScope& operator=(const AravisScope&) = delete;
};

// Collects, on the thread that made it and for as long as it lives, the
// warnings and errors Aravis logs: a description that the loader complained
// about is not used, since Aravis hands back whatever part it did read.
class LoadErrorCapture {
public:
    struct Complaint {
        bool ofParser; // the XML parser's, else a failed precondition
        std::string text;
    };

    LoadErrorCapture();
    ~LoadErrorCapture();
    LoadErrorCapture(const LoadErrorCapture&) = delete;
    LoadErrorCapture& operator=(const LoadErrorCapture&) = delete;

    const std::vector<Complaint>& Complaints() const { return complaints_; }
    void Add(bool ofParser, std::string text) { complaints_.push_back(Complaint{ofParser, std::move(text)}); }

private:
    LoadErrorCapture* previous_;
    std::vector<Complaint> complaints_;
};

} // namespace orva::core::genapi::detail
