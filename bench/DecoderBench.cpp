// DecoderBench: time of the decoders of device answers on large, realistic answers.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "DeviceProfile.h"
#include "MibView.h"
#include "NpaRequest.h"
#include "PrinterResponder.h"
#include "ProfileLoader.h"
#include "ScriptedConnection.h"
#include "SimulatorOptions.h"
#include "SnmpAgent.h"
#include "core/RDCCmd.h"
#include "core/RDCSupply.h"
#include "core/SNMPConfigCmd.h"
#include "parser/CUPSSNMPParser.h"
#include "parser/NPAParser.h"
#include "parser/SNMPParser.h"
#include "protocol/NPAProtocol.h"
#include "protocol/NPAResp.h"
#include "protocol/SNMPDataPacket.h"

namespace {

using Packets = std::vector<std::string>;

DeviceProfile loadProfile() {
    DeviceProfile profile;
    std::string error;
    if (ProfileLoader::loadFile(std::string(CFFSIM_PROFILE_DIR) + "/color-finisher.yaml", profile, error) != 0) {
        std::fprintf(stderr, "profile: %s\n", error.c_str());
        std::abort();
    }
    return profile;
}

// The fully equipped profile with many more trays, bins and finishers: a large configuration tree.
DeviceProfile largeProfile() {
    DeviceProfile profile = loadProfile();
    for (int id = 5; id < 40; ++id) {
        profile.inputs.push_back({id, "Tray " + std::to_string(id), "Tray " + std::to_string(id), 500});
    }
    for (int id = 5; id < 40; ++id) {
        profile.bins.push_back({id, "Bin " + std::to_string(id), "Bin " + std::to_string(id), 250});
    }
    for (int unit = 0; unit < 6; ++unit) {
        ProfileFinisher finisher{30 + unit, "Stapler Unit " + std::to_string(unit), "Stapler", {}};
        for (int bin = 0; bin < 4; ++bin) {
            int id = 40 + unit * 4 + bin;
            finisher.bins.push_back({id, "Stacker " + std::to_string(id), "Stacker", 100});
        }
        profile.finishers.push_back(finisher);
    }
    return profile;
}

Packets answerPackets(const DeviceProfile& profile, DevCommand& command, size_t payload) {
    SimulatorOptions options;
    options.splitPayload = payload;
    PrinterResponder responder(profile, options, payload);
    Data* request = command.getCommand(1);
    std::string bytes(reinterpret_cast<const char*>(request->get()), static_cast<size_t>(request->size()));
    return responder.respond(NpaRequest::classify(bytes));
}

// Repacks |packets| as they arrive over the packet framing and parses the joined answer.
void repackAndParse(benchmark::State& state, const Packets& packets, DevCommand& command) {
    size_t bytes = 0;
    for (const std::string& packet : packets) {
        bytes += packet.size();
    }
    for (auto _ : state) {
        auto* connection = new ScriptedConnection();
        for (const std::string& packet : packets) {
            connection->addRead(ScriptedConnection::Bytes(packet.begin(), packet.end()));
        }
        NPAProtocol protocol(connection);
        protocol.assignResponseBuilder(new NPAResp());
        Data answer;
        if (protocol.doRequest(command.getCommand(1), answer) != 0) {
            state.SkipWithError("repacking failed");
            break;
        }
        NPAParser parser;
        parser.parseData(&answer, command.getCommandID());
        std::list<supplyInfo_*> supplies;
        std::map<int, std::string> trays;
        parser.getSupplyInfo(supplies);
        parser.getTrays(trays);
        benchmark::DoNotOptimize(supplies.size() + trays.size());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
    state.counters["packets"] = static_cast<double>(packets.size());
}

void BM_RdcConfigurationLarge(benchmark::State& state) {
    DeviceProfile profile = largeProfile();
    RDCCmd command;
    Packets packets = answerPackets(profile, command, 507);
    repackAndParse(state, packets, command);
}
BENCHMARK(BM_RdcConfigurationLarge);

void BM_RdcSupplyManyPackets(benchmark::State& state) {
    DeviceProfile profile = loadProfile();
    RDCSupply command;
    Packets packets = answerPackets(profile, command, 16);
    repackAndParse(state, packets, command);
}
BENCHMARK(BM_RdcSupplyManyPackets);

// The configuration command's GetRequest answered by the simulated agent (63 values).
std::string snmpConfigurationAnswer() {
    static const DeviceProfile profile = loadProfile();
    static const MibView view(profile);
    SnmpAgent agent(profile, view);
    SNMPConfigCmd command;
    Data message;
    SNMPDataPacket packet;
    packet.getSNMPPacket(command.getCommand(1), 0, "public", message);
    std::string reply;
    agent.handle(message.get(), static_cast<size_t>(message.size()), reply);
    return reply;
}

void BM_SnmpGetResponseDecode(benchmark::State& state) {
    std::string reply = snmpConfigurationAnswer();
    size_t values = 0;
    for (auto _ : state) {
        SNMPDataPacket packet;
        packet.parsePDUGetResponse(reinterpret_cast<const unsigned char*>(reply.data()), static_cast<int>(reply.size()));
        values = packet.getResponseTable().size();
        benchmark::DoNotOptimize(values);
    }
    state.counters["distinct_values"] = static_cast<double>(values);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * reply.size()));
}
BENCHMARK(BM_SnmpGetResponseDecode);

void BM_SnmpConfigurationParse(benchmark::State& state) {
    std::string reply = snmpConfigurationAnswer();
    for (auto _ : state) {
        Data answer(reinterpret_cast<const unsigned char*>(reply.data()), static_cast<int>(reply.size()));
        SNMPParser parser;
        parser.parseData(&answer, CMD_CONFIGURATION);
        std::map<int, std::string> trays;
        std::map<int, std::string> bins;
        parser.getTrays(trays);
        parser.getBins(bins);
        benchmark::DoNotOptimize(trays.size() + bins.size());
    }
}
BENCHMARK(BM_SnmpConfigurationParse);

// 25 marker-supplies rows of 8 walked columns: 200 walk lines.
std::string backendLines() {
    static const char* const kColumns[] = {"1", "1", "3", "3", "Toner Cartridge", "19", "100", "42"};
    std::string text;
    for (int column = 0; column < 8; ++column) {
        for (int row = 1; row <= 25; ++row) {
            text += ".1.3.6.1.2.1.43.11.1.1." + std::to_string(column + 2) + ".1." + std::to_string(row) + "=" +
                    (column == 4 ? std::string("Supply ") + std::to_string(row) : std::string(kColumns[column])) + "\n";
        }
    }
    return text;
}

void BM_BackendLines200(benchmark::State& state) {
    std::string text = backendLines();
    size_t records = 0;
    for (auto _ : state) {
        Data answer(text);
        CUPSSNMPParser parser;
        parser.parseData(&answer, CMD_SUPPLIES);
        std::list<supplyInfo_*> supplies;
        parser.getSupplyInfo(supplies);
        records = supplies.size();
        benchmark::DoNotOptimize(records);
    }
    state.counters["records"] = static_cast<double>(records);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_BackendLines200);

}  // namespace

BENCHMARK_MAIN();
