// The remote console of Digital's maintenance operations protocol (MOP 3.0): stations say what they are.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::mop {
namespace {
constexpr NamedValue codes[] = {{5, "Request of the ID"},    {7, "System ID"},
                                {9, "Request of counters"},  {11, "Counters"},
                                {13, "Reserve the console"}, {15, "Release the console"},
                                {17, "Console command"},     {19, "Console response"}};
constexpr NamedValue informations[] = {{1, "maintenance version"}, {2, "functions"},    {3, "console user"},
                                       {4, "reservation timer"},   {5, "command size"}, {6, "response size"},
                                       {7, "hardware address"},    {8, "system time"},  {100, "communication device"},
                                       {200, "software"},          {400, "data link"},  {401, "buffer size"}};
constexpr NamedValue functionNames[] = {{0x01, "loop server"},      {0x02, "dump"},       {0x04, "primary loader"},
                                        {0x08, "secondary loader"}, {0x10, "boot"},       {0x20, "console carrier"},
                                        {0x40, "counters"},         {0x80, "reservation"}};

constexpr Field length{"mop.len", "Length", Wire::le16};
constexpr Field code{"mop.code", "Message", Wire::u8, codes};
constexpr Field reserved{"mop.reserved", "Reserved", Wire::hex8};
constexpr Field receipt{"mop.receipt", "Receipt number", Wire::le16};
constexpr Field information{"mop.info", "Information", Wire::number, informations};
constexpr Field informationType{"mop.info_type", "Type", Wire::le16};
constexpr Field informationLength{"mop.info_len", "Length", Wire::u8};
constexpr Field functions{"mop.functions", "Functions", Wire::flags, functionNames};
constexpr Field address{"mop.address", "Hardware address", Wire::mac};
constexpr Field number{"mop.number", "Value", Wire::le16};
constexpr Field bytes{"mop.bytes", "Value", Wire::bytes};
constexpr Field data{"mop.data", "Data", Wire::bytes};

void readInformation(Layer& mop)
{
    while (mop.more(3)) {
        const Layer::Group group(mop, information, load::le16(mop.rest().data()));
        const auto type = mop.read(informationType), size = mop.read(informationLength);
        const Layer::Window content(mop, size);
        if (type == 2 && mop.more(2)) {
            mop.add(functions, load::le16(mop.rest().data()), mop.offset(), 2);
            mop.skip(2);
        } else if (type == 7 && size == 6) {
            mop.read(address);
        } else if (size == 2) {
            mop.read(number);
        }
        if (mop.more())
            mop.readRest(bytes);
    }
}

void decode(Layer& mop)
{
    const auto size = mop.read(length);
    {
        const Layer::Window message(mop, size);
        const auto kind = mop.read(code);
        if (kind == 7) {
            mop.read(reserved, receipt);
            readInformation(mop);
        } else if (kind == 5) {
            mop.read(reserved, receipt);
        } else if (kind == 9) {
            mop.read(receipt);
        }
        if (mop.more())
            mop.readRest(data);
    }
    mop.endHere();
}

void describe(const LayerView& mop, TextSink& out)
{
    out("{}", mop[code]);
    if (const auto who = mop[address])
        out(" of {}", who);
    if (const auto what = mop[functions]; what.number())
        out(": {}", what);
}

constexpr Claim claims[] = {etherType(0x6002)};
} // namespace

constexpr Protocol protocol{{"mop", "MOP RC", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::mop
