// `netrondo interfaces`: what can be captured on.
#include "Base/Json.h"
#include "Capture/NetworkInterface.h"
#include "Options.h"
#include "Outcome.h"
#include "Page.h"
#include "Subcommands.h"
#include "Terminal.h"

#include <memory>
#include <unistd.h>

namespace netrondo::cli {
namespace {

std::string stateOf(const NetworkInterface& interface)
{
    const std::string state = !interface.isUp ? "down" : interface.isRunning ? "up" : "up, no carrier";
    return state + (interface.isLoopback ? ", loopback" : "") + (interface.isWireless ? ", wireless" : "");
}

void writeJson(JsonWriter& json, const std::vector<NetworkInterface>& interfaces)
{
    json.beginArray();
    for (const auto& interface : interfaces) {
        json.beginObject();
        json.field("name", std::string_view(interface.name));
        if (!interface.description.empty())
            json.field("description", std::string_view(interface.description));
        json.field("isUp", interface.isUp);
        json.field("isRunning", interface.isRunning);
        json.field("isLoopback", interface.isLoopback);
        json.field("isWireless", interface.isWireless);
        json.key("addresses");
        json.beginArray();
        for (const auto& address : interface.addresses)
            json.value(std::string_view(address.text()));
        json.endArray();
        json.endObject();
    }
    json.endArray();
    json.endLine();
}

void printTable(TextOutput& out, const std::vector<NetworkInterface>& interfaces)
{
    Page page(out, screenWidth(STDOUT_FILENO), wantsColour(STDOUT_FILENO));
    Table table({{"Interface"}, {"State"}, {"Addresses", Column::Kind::flexible}});
    for (const auto& interface : interfaces) {
        std::string addresses;
        for (const auto& address : interface.addresses)
            addresses += (addresses.empty() ? "" : ", ") + address.text();
        if (addresses.empty())
            addresses = interface.description;
        table.add({{interface.name}, {stateOf(interface)}, {addresses}});
    }
    table.print(page);
}

int run(bool wantsJson)
{
    const auto interfaces = networkInterfaces();
    if (!interfaces)
        return fail("interfaces", interfaces.error());
    TextOutput out(STDOUT_FILENO);
    if (wantsJson) {
        JsonWriter json(out);
        writeJson(json, *interfaces);
    } else {
        printTable(out, *interfaces);
    }
    return finish(out);
}

} // namespace

Action subcommand::interfaces(CLI::App& app)
{
    app.footer("It takes no privilege to list them; to capture takes one: netrondo capture --help.");
    auto json = std::make_shared<bool>(false);
    addJson(app, *json, "An array of objects: name, description, isUp, isRunning, isLoopback, isWireless, addresses");
    return [json] { return run(*json); };
}

} // namespace netrondo::cli
