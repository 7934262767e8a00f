// Shared by the link configuration tests: documents and the text of a
// failure.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

namespace orva::test::plex {

// The writer's output for two links in one group, line for line.
inline const std::string kExampleDocument =
    "<cxpconfiguration links=\"2\" linkgroups=\"1\">\n"
    "\t<linkgroup masterId=\"1\" speed=\"6250\" streampacketsize=\"4096\">\n"
    "\t\t<link phyIndex=\"0\" dlIndex=\"0\" linkIndex=\"0\" isMaster=\"true\"/>\n"
    "\t\t<link phyIndex=\"1\" dlIndex=\"1\" linkIndex=\"1\"/>\n"
    "\t</linkgroup>\n"
    "</cxpconfiguration>\n";

// A cxp document with the given root attributes and content.
inline std::string CxpDocument(const std::string& rootAttributes, const std::string& content) {
    return "<cxpconfiguration " + rootAttributes + ">" + content + "</cxpconfiguration>";
}

// The text of the runtime_error that `run` throws; "no error" if it throws
// none. Other exceptions pass through and fail the test.
inline std::string ErrorOf(const std::function<void()>& run) {
    try {
        run();
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "no error";
}

} // namespace orva::test::plex
