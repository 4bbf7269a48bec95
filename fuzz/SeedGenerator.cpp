// SeedGenerator: writes fuzz seeds: the answers each bundled simulator profile gives the filter's requests.
//
// Usage: cff_fuzz_seeds OUTPUT_DIR [PROFILE.yaml...]
// Every request the filter forms is run through the real protocols and parsers against an
// in-process simulated printer; the reads it is handed and the answers its parsers see are
// written in the layout of the fuzz targets (FuzzReads.h), one directory per target.
#include <sys/stat.h>

#include <cstdio>
#include <deque>
#include <dirent.h>
#include <fstream>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "BackendServer.h"
#include "DeviceProfile.h"
#include "FuzzReads.h"
#include "MibView.h"
#include "NetworkFraming.h"
#include "NpaRequest.h"
#include "PrinterResponder.h"
#include "ProfileLoader.h"
#include "SimulatorOptions.h"
#include "SnmpAgent.h"
#include "UdpServer.h"
#include "connection/Connection.h"
#include "core/CommandManager.h"
#include "core/DevCommand.h"
#include "parser/Parser.h"
#include "parser/ParserFactory.h"
#include "protocol/CUPSSNMPProtocol.h"
#include "protocol/NPABiDiProtocol.h"
#include "protocol/NPAProtocol.h"
#include "protocol/ResponseFactory.h"
#include "protocol/SNMPProtocol.h"

namespace {

enum Kind { kPacket = 0, kNetwork = 1, kSnmp = 2, kBackend = 3 };

// Answers each write from the simulated printer and records every read it hands out.
class SimulatorConnection : public Connection {
public:
    SimulatorConnection(Kind kind, const DeviceProfile& profile, const SimulatorOptions& options)
        : kind_(kind),
          view_(profile),
          agent_(profile, view_),
          responder_(profile, options, kind == kNetwork ? UdpServer::kDefaultPayload : BackendServer::kDefaultPayload) {}

    int doOpen() override { return 0; }
    int doClose() override { return 0; }

    int doWrite(Data* request) override {
        std::string bytes(reinterpret_cast<const char*>(request->get()), static_cast<size_t>(request->size()));
        switch (kind_) {
            case kPacket:
                for (const std::string& packet : responder_.respond(NpaRequest::classify(bytes))) {
                    pending_.push_back(packet);
                }
                break;
            case kNetwork: {
                uint32_t tag = 0;
                if (NetworkFraming::isAck(bytes, tag)) {
                    break;
                }
                std::vector<std::string> packets = responder_.respond(NpaRequest::classify(NetworkFraming::requestPacket(bytes)));
                for (size_t i = 0; i < packets.size(); ++i) {
                    pending_.push_back(NetworkFraming::frameAnswer(packets[i], static_cast<uint16_t>(i), bytes));
                }
                break;
            }
            case kSnmp: {
                std::string reply;
                if (agent_.handle(request->get(), bytes.size(), reply)) {
                    pending_.push_back(reply);
                }
                break;
            }
            case kBackend:
                pending_.push_back(walk(bytes));
                break;
        }
        return 0;
    }

    int doRead(Data& answer) override {
        if (pending_.empty()) {
            fuzz_reads::appendFailedRead(transcript);
            return fuzz_reads::kFailedReadStatus;
        }
        std::string bytes = pending_.front();
        pending_.pop_front();
        fuzz_reads::appendRead(transcript, bytes);
        answer = Data(bytes);
        return 0;
    }

    // Every read handed out so far, in the fuzz input layout.
    std::string transcript;

private:
    // The walk lines a backend reports for the subtree |root|.
    std::string walk(const std::string& root) const {
        MibView::Oid oid;
        MibView::Oid prefix;
        std::string lines;
        if (!MibView::parseOid(root.c_str(), prefix)) {
            return lines;
        }
        oid = prefix;
        const ProfileSnmpValue* value = nullptr;
        while (view_.next(oid, oid, value) && oid.size() >= prefix.size() &&
               std::equal(prefix.begin(), prefix.end(), oid.begin())) {
            lines += MibView::oidText(oid) + "=" + MibView::valueText(*value) + "\n";
        }
        return lines;
    }

    Kind kind_;
    MibView view_;
    SnmpAgent agent_;
    PrinterResponder responder_;
    std::deque<std::string> pending_;
};

// Hands every answer to the real parser and keeps a copy for the parser targets.
class RecordingParser : public Parser {
public:
    explicit RecordingParser(Parser* real) : real_(real) {}
    struct Answer {
        CommandID id;
        std::string bytes;
    };
    std::vector<Answer> answers;

    int parseData(Data* answer, CommandID id) override {
        answers.push_back({id, std::string(reinterpret_cast<const char*>(answer->get()), static_cast<size_t>(answer->size()))});
        return real_->parseData(answer, id);
    }
    int getSupplyInfo(std::list<supplyInfo_*>& s) override { return real_->getSupplyInfo(s); }
    int getTrays(std::map<int, std::string>& m) override { return real_->getTrays(m); }
    int getBins(std::map<int, std::string>& m) override { return real_->getBins(m); }
    int getDuplex(int& v) override { return real_->getDuplex(v); }
    int getFLash(int& v) override { return real_->getFLash(v); }
    int getFinishers(std::map<int, std::string>& m) override { return real_->getFinishers(m); }
    int getSNMPCodePage(int& v) override { return real_->getSNMPCodePage(v); }
    int getManualFeeder(int& v) override { return real_->getManualFeeder(v); }

private:
    std::unique_ptr<Parser> real_;
};

struct Dialogue {
    Kind kind;
    RequestType request;
};
// Same order as the dialogue target's table.
const Dialogue kDialogues[] = {
    {kPacket, REQ_SUPPLY_LEVELS}, {kPacket, REQ_INSTALLABLE_OPTIONS}, {kNetwork, REQ_SUPPLY_LEVELS},
    {kSnmp, REQ_INSTALLABLE_OPTIONS}, {kBackend, REQ_SUPPLY_LEVELS},
};

Protocol* makeProtocol(Kind kind, Connection* connection) {
    switch (kind) {
        case kPacket:
            return new NPAProtocol(connection);
        case kNetwork:
            return new NPABiDiProtocol(connection);
        case kSnmp:
            return new SNMPProtocol(connection);
        default:
            return new CUPSSNMPProtocol(connection);
    }
}

void writeSeed(const std::string& dir, const std::string& target, const std::string& name, char selector,
               const std::string& body, bool withSelector = true) {
    std::string path = dir + "/" + target;
    mkdir(path.c_str(), 0755);
    std::ofstream out(path + "/" + name, std::ios::binary);
    if (withSelector) {
        out.put(selector);
    }
    out << body;
}

int npaSelector(CommandID id) {
    return id == CMD_SUPPLIES ? 0 : id == CMD_CONFIGURATION ? 1 : 2;
}

void generate(const std::string& dir, const std::string& name, const DeviceProfile& profile,
              const SimulatorOptions& options) {
    for (size_t d = 0; d < sizeof kDialogues / sizeof kDialogues[0]; ++d) {
        const Dialogue& dialogue = kDialogues[d];
        auto* connection = new SimulatorConnection(dialogue.kind, profile, options);
        std::unique_ptr<Protocol> protocol(makeProtocol(dialogue.kind, connection));
        connection->setProtocol(protocol.get());
        protocol->assignResponseBuilder(ResponseFactory::createResponseBuilder(protocol->getProtocolType()));
        RecordingParser parser(ParserFactory::createParser(protocol->getProtocolType()));
        CommandManager manager;
        std::list<DevCommand*> commands = manager.getCommand(dialogue.request, protocol->getProtocolType());
        std::string stem = name + "-" + std::to_string(d);
        for (DevCommand* command : commands) {
            size_t start = connection->transcript.size();
            command->Execute(protocol.get(), &parser);
            std::string reads = connection->transcript.substr(start);
            CommandID id = command->getCommandID();
            if (dialogue.kind == kPacket || dialogue.kind == kNetwork) {
                writeSeed(dir, dialogue.kind == kPacket ? "npa_packet" : "npa_network",
                          stem + "-" + std::to_string(id), static_cast<char>(npaSelector(id)), reads);
            }
            delete command;
        }
        writeSeed(dir, "dialogue", stem, static_cast<char>(d), connection->transcript);
        for (size_t i = 0; i < parser.answers.size(); ++i) {
            const RecordingParser::Answer& answer = parser.answers[i];
            std::string seed = stem + "-" + std::to_string(i);
            if (dialogue.kind == kSnmp) {
                writeSeed(dir, "snmp_response", seed, answer.id == CMD_SUPPLIES ? 1 : 0, answer.bytes);
            } else if (dialogue.kind == kBackend) {
                writeSeed(dir, "backend_lines", seed, 0, answer.bytes, false);
            } else if (answer.id == CMD_ROC) {
                writeSeed(dir, "roc", seed, 0, answer.bytes, false);
            } else if (dialogue.kind == kPacket) {
                // Selectors of the container target that take this answer.
                const std::vector<int> selectors =
                    answer.id == CMD_SUPPLIES ? std::vector<int>{1, 5, 6} : std::vector<int>{0, 2, 3, 4};
                for (int selector : selectors) {
                    writeSeed(dir, "npa_container", seed + "-" + std::to_string(selector),
                              static_cast<char>(selector), answer.bytes);
                }
            }
        }
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s OUTPUT_DIR [PROFILE.yaml...]\n", argv[0]);
        return 2;
    }
    std::string dir = argv[1];
    mkdir(dir.c_str(), 0755);
    std::vector<std::string> profiles(argv + 2, argv + argc);
    if (profiles.empty()) {
        DIR* listing = opendir(CFFSIM_PROFILE_DIR);
        for (struct dirent* entry = listing ? readdir(listing) : nullptr; entry; entry = readdir(listing)) {
            std::string file = entry->d_name;
            if (file.size() > 5 && file.compare(file.size() - 5, 5, ".yaml") == 0) {
                profiles.push_back(std::string(CFFSIM_PROFILE_DIR) + "/" + file);
            }
        }
        if (listing) {
            closedir(listing);
        }
    }
    for (const std::string& path : profiles) {
        DeviceProfile profile;
        std::string error;
        if (ProfileLoader::loadFile(path, profile, error) != 0) {
            std::fprintf(stderr, "%s: %s\n", path.c_str(), error.c_str());
            return 1;
        }
        std::string name = path.substr(path.find_last_of('/') + 1);
        name = name.substr(0, name.size() - 5);
        SimulatorOptions options;
        generate(dir, name, profile, options);
        // Small packets: the same answers split over many reads.
        options.splitPayload = 64;
        generate(dir, name + "-split", profile, options);
    }
    return 0;
}
