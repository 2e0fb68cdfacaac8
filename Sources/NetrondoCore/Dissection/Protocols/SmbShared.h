// What both generations of SMB's messages have.
#pragma once

#include "Dissection/Decode/Layer.h"
#include "Dissection/Decode/LayerView.h"
#include "Dissection/Protocols/SmbNames.h"

namespace netrondo::smbShared {

inline constexpr Field magic{"smb.magic", "Protocol", Wire::hex32};
// One catalogue name for the commands of both: whoever filters knows which one is on the wire.
inline constexpr Field command1{"smb.cmd", "SMB command", Wire::hex8, smbNames::commands1};
inline constexpr Field command2{"smb.cmd", "SMB command", Wire::le16, smbNames::commands2};
inline constexpr Field status{"smb.status", "Status", Wire::leHex32, smbNames::statuses};
inline constexpr Field data{"smb.data", "Data", Wire::bytes};

/// Which commands these are, which way they go, and what came of them.
inline void describeCommands(const LayerView& smb, TextSink& out, const Field& command, bool answers)
{
    std::size_t count = 0;
    smb.each(command, [&](const Value& entry) { out("{}{}", count++ ? ", " : "", entry); });
    if (count)
        out(" {}", answers ? "response" : "request");
    if (const auto code = smb[status]; code && code.number()) {
        const auto name = nameIn(smbNames::statuses, code.number());
        out(", {}", name.empty() ? "error" : name);
    }
}

} // namespace netrondo::smbShared
