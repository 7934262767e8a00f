// The link configuration document: how a board's links are grouped into
// cameras, which physical port carries which design port, the master link,
// the speed and the stream packet size of each group.
//
//   <cxpconfiguration links="2" linkgroups="1">
//   	<linkgroup masterId="1" speed="6250" streampacketsize="4096">
//   		<link phyIndex="0" dlIndex="0" linkIndex="0" isMaster="true"/>
//   		<link phyIndex="1" dlIndex="1" linkIndex="1"/>
//   	</linkgroup>
//   </cxpconfiguration>
//
// One class serves the three serial technologies: the word given at
// construction ("cxp", "clhs" or "cl") chooses the root element and the
// words of the messages. Any other word reads a document under any root and
// writes one without root lines.
//
// Every failure is a std::runtime_error with a full text, which callers turn
// into a status. Documents come from disk and are not trusted: the size, the
// number of elements and every number are bounded before they are used.
//
// Copies share one record, without a lock: an object belongs to its caller.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>

namespace orva::core::plex {

class CxpLinkConfiguration {
public:
    static constexpr uint32_t kMaxLinkGroups = 4;
    static constexpr uint32_t kMaxLinksPerGroup = 4;
    static constexpr uint32_t kMaxPhysicalLinks = 4;
    static constexpr uint32_t kDefaultSpeed = 1250;
    static constexpr uint32_t kDefaultStreamPacketSize = 4096;

    // A document written by this class is below 2 KiB; anything past 1 MiB
    // is not a link configuration and is refused before it is read.
    static constexpr std::size_t kMaxDocumentSize = std::size_t{1} << 20;
    // Bounds the parser's recursion, which follows the nesting of elements.
    static constexpr std::size_t kMaxElements = 1024;

    explicit CxpLinkConfiguration(const std::string& technology);
    CxpLinkConfiguration(const CxpLinkConfiguration& other) = default;
    CxpLinkConfiguration& operator=(const CxpLinkConfiguration& other) = default;
    virtual ~CxpLinkConfiguration();

    // Replace the contents with the document of a file or a text.
    void LoadFromFile(const std::string& fileName);
    void LoadFromString(const std::string& text);
    // The reader. `text` ends with a zero byte and is changed in place;
    // `fileName` only names the document in messages.
    void Parse(char* text, const std::string& fileName);

    void SaveToFile(const std::string& fileName) const;
    void WriteTo(std::ostream& stream) const;

    void SetFileName(const std::string& name);
    const std::string& GetFileName() const;
    const std::string& GetTechnology() const;

    // LoadFromFile of the file name, if there is one; a failure is dropped.
    void Reload();
    // SaveToFile of the file name: false without one or on any failure.
    bool Save() const;

    uint32_t GetLinks() const;
    void SetLinks(uint32_t links);
    uint32_t GetLinkGroups() const;
    void SetLinkGroups(uint32_t linkGroups); // a value above 4 is ignored

    // Group index g below GetLinkGroups(), link index l below 4; otherwise
    // "link group index out of bounds." or "link index out of bounds.".
    uint32_t GetLinkCount(uint32_t g) const;
    void SetLinkCount(uint32_t g, uint32_t count); // a count above 4 is ignored
    int32_t GetMasterPhyIndex(uint32_t g) const;
    void SetMasterPhyIndex(uint32_t g, int32_t phyIndex);
    uint32_t GetMasterId(uint32_t g) const;
    void SetMasterId(uint32_t g, uint32_t masterId);
    uint32_t GetSpeed(uint32_t g) const;
    void SetSpeed(uint32_t g, uint32_t speed);
    uint32_t GetStreamPacketSize(uint32_t g) const;
    void SetStreamPacketSize(uint32_t g, uint32_t size);
    int32_t GetPhyIndex(uint32_t g, uint32_t l) const;
    void SetPhyIndex(uint32_t g, uint32_t l, int32_t phyIndex);
    int32_t GetDlIndex(uint32_t g, uint32_t l) const;
    void SetDlIndex(uint32_t g, uint32_t l, int32_t dlIndex);

private:
    struct D;
    std::shared_ptr<D> d_;
};

} // namespace orva::core::plex
