// NpaAnswerBuilder: the printer's answers to packet requests, built from a device profile.
#include "NpaAnswerBuilder.h"

namespace {

unsigned char byteAt(const std::string& bytes, size_t index) {
    return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0;
}

// An entry of a tray or bin list: a sub-entry container whose container 1 holds the
// device id (leaf 1) and the name (leaf 3).
void addEntry(ContainerTree::Element& list, int entryNo, const ProfileUnit& unit) {
    list.container(entryNo).container(1).integer(1, unit.id).string(3, unit.name);
}

}  // namespace

std::string NpaAnswerBuilder::framePacket(const std::string& request, unsigned char flags,
                                          const std::string& payload) {
    size_t length = payload.size() + 2;
    std::string packet;
    packet.push_back('\xA5');
    packet.push_back(static_cast<char>((length >> 8) & 0xFF));
    packet.push_back(static_cast<char>(length & 0xFF));
    packet.push_back(static_cast<char>(flags));
    packet.push_back(static_cast<char>(byteAt(request, 4)));
    return packet + payload;
}

std::string NpaAnswerBuilder::failurePacket(const std::string& request) {
    return framePacket(request, kFlagFailed, std::string());
}

void NpaAnswerBuilder::addGeneralInfo(ContainerTree::Element& root) const {
    if (profile_.codePage == 0) {
        return;
    }
    root.container(1).container(1).integer(1, profile_.codePage).string(2, profile_.model);
}

ContainerTree::Element NpaAnswerBuilder::configurationTree() const {
    ContainerTree::Element root;
    root.id = 1;
    addGeneralInfo(root);
    ContainerTree::Element configuration;
    configuration.id = 2;
    if (!profile_.inputs.empty()) {
        ContainerTree::Element& inputs = configuration.container(1);
        int trayNo = 0;
        for (const ProfileUnit& unit : profile_.inputs) {
            ContainerTree::Element& tray = inputs.container(++trayNo);
            if (unit.capacity > 0) {
                tray.integer(2, unit.capacity);
            }
            addEntry(tray.container(5), 1, unit);
        }
    }
    if (!profile_.bins.empty() || !profile_.finishers.empty()) {
        ContainerTree::Element& outputs = configuration.container(2);
        int unitNo = 0;
        if (!profile_.bins.empty()) {
            ContainerTree::Element& entries = outputs.container(++unitNo).container(5);
            int entryNo = 0;
            for (const ProfileUnit& bin : profile_.bins) {
                addEntry(entries, ++entryNo, bin);
            }
        }
        for (const ProfileFinisher& finisher : profile_.finishers) {
            ContainerTree::Element& unit = outputs.container(++unitNo);
            unit.integer(1, finisher.id).string(7, finisher.name);
            if (!finisher.bins.empty()) {
                ContainerTree::Element& entries = unit.container(5);
                int entryNo = 0;
                for (const ProfileUnit& bin : finisher.bins) {
                    addEntry(entries, ++entryNo, bin);
                }
            }
        }
    }
    if (profile_.duplex != ReportedState::kNotReported) {
        configuration.container(4).integer(1, profile_.duplex == ReportedState::kInstalled ? 1 : 0);
    }
    if (!configuration.children.empty()) {
        root.children.push_back(configuration);
    }
    return root;
}

ContainerTree::Element NpaAnswerBuilder::supplyTree(int languageId) const {
    ContainerTree::Element root;
    root.id = 1;
    addGeneralInfo(root);
    if (profile_.supplies.empty()) {
        return root;
    }
    ContainerTree::Element& supplies = root.container(2).container(8);
    int supplyNo = 0;
    for (const ProfileSupply& supply : profile_.supplies) {
        supplies.container(++supplyNo)
            .container(1)
            .integer(1, supply.id)
            .string(3, DeviceProfile::supplyName(supply, languageId))
            .string(5, supply.partNumber)
            .integer(6, 0)
            .integer(7, supply.type)
            .integer(12, 0)
            .integer(13, 0)
            .integer(14, 0)
            .integer(15, supply.maxCapacity)
            .integer(16, supply.level);
    }
    return root;
}

std::string NpaAnswerBuilder::optionText() const {
    std::string text;
    auto addPair = [&text](const std::string& name, long value) {
        std::string pair = (text.empty() ? "" : " ") + name + ":" + std::to_string(value) + ";";
        if (text.size() + pair.size() <= 255) {
            text += pair;
        }
    };
    if (profile_.flash == ReportedState::kInstalled) {
        addPair("FLASH", 1);
    }
    if (profile_.flash != ReportedState::kNotReported) {
        for (const auto& pair : profile_.optionPairs) {
            addPair(pair.first, pair.second);
        }
    }
    return text;
}

int NpaAnswerBuilder::treePacket(const std::string& request, const std::string& headerText,
                                 const ContainerTree::Element& tree, const ContainerWidths& widths, std::string& out,
                                 std::string& error) {
    // Payload bytes 5 to 11 repeat the command and are otherwise zero; the header text and
    // the tree follow at fixed offsets.
    std::string payload;
    payload.push_back(static_cast<char>(byteAt(request, 5)));
    payload.push_back(static_cast<char>(byteAt(request, 6)));
    payload.append(kHeaderStringOffset - kHeaderSize - 2, '\0');
    std::string header = headerText.substr(0, ContainerTree::kHeaderStringSize);
    header.resize(ContainerTree::kHeaderStringSize, '\0');
    payload += header;
    if (ContainerTree::encode(tree, widths, payload, error) != 0) {
        return -1;
    }
    if (payload.size() + 2 > 0xFFFF) {
        error = "the answer is longer than a packet can announce";
        return -1;
    }
    out = framePacket(request, 0, payload);
    return 0;
}

std::string NpaAnswerBuilder::optionPacket(const std::string& request, const std::string& text, int countByte) {
    std::string payload;
    payload.push_back(static_cast<char>(byteAt(request, 5)));
    payload.push_back(static_cast<char>(countByte < 0 ? text.size() : static_cast<size_t>(countByte)));
    return framePacket(request, 0, payload + text);
}

int NpaAnswerBuilder::answer(const NpaRequest& request, std::string& out, std::string& error) const {
    switch (request.kind) {
        case NpaRequest::kModeCommand:
        case NpaRequest::kLoopback:
            return 1;
        case NpaRequest::kConfiguration:
            return treePacket(request.bytes, ContainerTree::headerString(profile_.widths), configurationTree(),
                              profile_.widths, out, error);
        case NpaRequest::kSupplies:
            if (!profile_.acceptsLanguage(request.languageId)) {
                out = failurePacket(request.bytes);
                return 0;
            }
            return treePacket(request.bytes, ContainerTree::headerString(profile_.widths),
                              supplyTree(request.languageId), profile_.widths, out, error);
        case NpaRequest::kOptions:
            out = optionPacket(request.bytes, optionText());
            return 0;
        case NpaRequest::kUnknown:
            break;
    }
    out = failurePacket(request.bytes);
    return 0;
}

std::vector<std::string> NpaAnswerBuilder::packetize(const std::string& answer, size_t payloadSize,
                                                     bool failed) {
    std::vector<std::string> packets;
    if (answer.size() < kHeaderSize) {
        return packets;
    }
    if (payloadSize == 0) {
        payloadSize = 1;
    }
    unsigned char flags = byteAt(answer, 3);
    std::string echo = answer.substr(0, kHeaderSize);
    std::string payload = answer.substr(kHeaderSize);
    size_t offset = 0;
    do {
        size_t take = std::min(payloadSize, payload.size() - offset);
        bool last = offset + take >= payload.size();
        unsigned char packetFlags = static_cast<unsigned char>((flags & ~kFlagMore) | (last ? 0 : kFlagMore));
        if (failed) {
            packetFlags |= kFlagFailed;
        }
        packets.push_back(framePacket(echo, packetFlags, payload.substr(offset, take)));
        offset += take;
    } while (offset < payload.size());
    return packets;
}
