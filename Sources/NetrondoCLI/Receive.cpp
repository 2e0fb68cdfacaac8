// `netrondo receive`: PCAP over IP, a capture that another program sends.
#include "Capture/PcapOverIp.h"
#include "LiveCommand.h"
#include "Subcommands.h"

#include <memory>

namespace netrondo::cli {
namespace {

struct Wishes {
    std::string server;
    PcapOverIp::Options options;
    LiveWishes live;
};

} // namespace

Action subcommand::receive(CLI::App& app)
{
    app.footer(
        "The port is 57012 unless given; an IPv6 address with a port stands in brackets. The sender is a program "
        "such as\n  tcpdump -U -w - not port 57012 | nc -l 57012\nWithout -w a line every second says what goes "
        "on. Ctrl-C ends it; what was received is kept, whatever happens.");
    auto wishes = std::make_shared<Wishes>();
    app.add_option("SERVER", wishes->server, "HOST or HOST:PORT, where a pcap or pcapng stream is served")
        ->required()
        ->check([](const std::string& text) {
            return std::string(CaptureServer::parse(text) ? "" : "“" + text + "” is not HOST or HOST:PORT");
        })
        ->type_name("");
    addOutput(app, wishes->live.file);
    app.add_flag("--reconnect", wishes->options.reconnect,
                 "Connects again, every 5 seconds, when the connection ends or none can be made");
    return [wishes] {
        wishes->options.server = *CaptureServer::parse(wishes->server);
        wishes->live.name = wishes->options.server.text();
        return runLive(std::make_shared<PcapOverIp>(wishes->options), wishes->live);
    };
}

} // namespace netrondo::cli
