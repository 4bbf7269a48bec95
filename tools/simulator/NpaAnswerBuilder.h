// NpaAnswerBuilder: the printer's answers to packet requests, built from a device profile.
#pragma once

#include <string>
#include <vector>

#include "ContainerTree.h"
#include "DeviceProfile.h"
#include "NpaRequest.h"

class NpaAnswerBuilder {
public:
    // Offsets of an answer packet.
    static constexpr size_t kHeaderSize = 5;         // start, length (2), flags, echo byte
    static constexpr size_t kHeaderStringOffset = 12;
    static constexpr size_t kTreeOffset = 46;
    static constexpr unsigned char kFlagMore = 0x20;
    static constexpr unsigned char kFlagFailed = 0x80;

    explicit NpaAnswerBuilder(const DeviceProfile& profile) : profile_(profile) {}

    // The whole answer to |request| as one packet, flags clear. Returns 0; 1 when the request
    // is one that gets no answer; -1 with |error| set when the profile does not fit the
    // answer's fields. A request that the printer cannot serve gets a failure packet.
    int answer(const NpaRequest& request, std::string& out, std::string& error) const;

    // The trees that the configuration and supply answers carry.
    ContainerTree::Element configurationTree() const;
    ContainerTree::Element supplyTree(int languageId) const;
    // The option text ("FLASH:1; RAM:256;"), at most 255 bytes.
    std::string optionText() const;

    // A one-packet answer to |request| carrying |tree| under |widths|, announced by
    // |headerText| (padded with NULs or cut to its 34 bytes). Returns 0, or -1 with |error| set
    // when the tree does not fit its fields or a packet.
    static int treePacket(const std::string& request, const std::string& headerText,
                          const ContainerTree::Element& tree, const ContainerWidths& widths, std::string& out,
                          std::string& error);
    // A one-packet answer to the option request |request| carrying |text|, with |countByte|
    // as its length byte (the text's length when negative).
    static std::string optionPacket(const std::string& request, const std::string& text, int countByte = -1);

    // A one-packet answer with only the failure flag and the echo byte of |request|.
    static std::string failurePacket(const std::string& request);
    // Cuts a one-packet answer into packets of at most |payloadSize| payload bytes each,
    // every packet but the last flagged "more"; |failed| sets the failure flag on all.
    static std::vector<std::string> packetize(const std::string& answer, size_t payloadSize, bool failed);

private:
    // Frames a payload that follows the 5-byte header as one packet answering |request|.
    static std::string framePacket(const std::string& request, unsigned char flags, const std::string& payload);
    void addGeneralInfo(ContainerTree::Element& root) const;

    const DeviceProfile& profile_;
};
