#include "impl/core/DescriptionBlock.h"

#include <cstring>
#include <memory>

#include "runtime/logging/LogMessage.h"
#include "runtime/logging/Logger.h"
#include "runtime/templates/ManagedDataArray.h"
#include "runtime/templates/ZipDataReader.h"

namespace orva::core {

std::string TextOfBlock(std::span<const uint8_t> block) {
    if (block.empty()) {
        return {};
    }
    const auto* end = static_cast<const uint8_t*>(std::memchr(block.data(), 0, block.size()));
    const size_t length = end == nullptr ? block.size() : static_cast<size_t>(end - block.data());
    return {reinterpret_cast<const char*>(block.data()), length};
}

UnzipOutcome UnzipDescription(std::span<const uint8_t> block, tools::logging::Logger* logger, std::string& xml) {
    using templates::container::ManagedDataArray;
    using templates::container::ZipDataReader;
    using templates::container::ZipStatus;
    using tools::logging::LevelDebug;
    using tools::logging::LevelWarning;

    ZipDataReader zip(std::make_shared<ManagedDataArray>(block.data(), block.size()));
    if (!zip.IsValid()) {
        ORVA_LOG(logger, LevelWarning, "XML zip container without entries");
        return UnzipOutcome::NoEntries;
    }
    ORVA_LOG(logger, LevelDebug, "XML type: Zip - Index 0 - Size: " << block.size());
    ZipStatus status = ZipStatus::Ok;
    const auto entry = zip.GetEntryData(0, status);
    if (!entry || status != ZipStatus::Ok) {
        ORVA_LOG(logger, LevelWarning, "XML zip entry refused, reason " << static_cast<int>(status));
        return UnzipOutcome::EntryRefused;
    }
    xml = TextOfBlock({entry->data(), entry->size()});
    return UnzipOutcome::Unpacked;
}

} // namespace orva::core
