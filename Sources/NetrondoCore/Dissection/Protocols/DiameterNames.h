// The names of Diameter: commands, applications, results and the base protocol's attributes (RFC 6733, RFC 4006).
#pragma once

#include "Dissection/Decode/Field.h"

#include <array>

namespace netrondo::diameter {

inline constexpr NamedValue commandNames[] = {{257, "Capabilities-Exchange"},
                                              {258, "Re-Auth"},
                                              {265, "AA"},
                                              {268, "Diameter-EAP"},
                                              {271, "Accounting"},
                                              {272, "Credit-Control"},
                                              {274, "Abort-Session"},
                                              {275, "Session-Termination"},
                                              {280, "Device-Watchdog"},
                                              {282, "Disconnect-Peer"},
                                              {300, "User-Authorization"},
                                              {301, "Server-Assignment"},
                                              {302, "Location-Info"},
                                              {303, "Multimedia-Auth"},
                                              {304, "Registration-Termination"},
                                              {305, "Push-Profile"},
                                              {306, "User-Data"},
                                              {307, "Profile-Update"},
                                              {308, "Subscribe-Notifications"},
                                              {309, "Push-Notification"},
                                              {316, "Update-Location"},
                                              {317, "Cancel-Location"},
                                              {318, "Authentication-Information"},
                                              {319, "Insert-Subscriber-Data"},
                                              {320, "Delete-Subscriber-Data"},
                                              {321, "Purge-UE"},
                                              {322, "Reset"},
                                              {323, "Notify"},
                                              {324, "ME-Identity-Check"}};
inline constexpr NamedValue applicationNames[] = {
    {0, "base"},      {1, "NASREQ"},     {2, "Mobile IPv4"}, {3, "base accounting"}, {4, "credit control"},
    {5, "EAP"},       {6, "SIP"},        {16777216, "Cx"},   {16777217, "Sh"},       {16777236, "Rx"},
    {16777238, "Gx"}, {16777251, "S6a"}, {16777252, "S13"},  {16777302, "Sy"},       {0xffffffff, "relay"}};
inline constexpr NamedValue resultNames[] = {{1001, "multi-round authentication"},
                                             {2001, "success"},
                                             {2002, "limited success"},
                                             {3001, "command unsupported"},
                                             {3002, "unable to deliver"},
                                             {3003, "realm not served"},
                                             {3004, "too busy"},
                                             {3005, "loop detected"},
                                             {3006, "redirect"},
                                             {3007, "application unsupported"},
                                             {3008, "invalid header bits"},
                                             {3009, "invalid AVP bits"},
                                             {3010, "unknown peer"},
                                             {4001, "authentication rejected"},
                                             {4002, "out of space"},
                                             {4003, "election lost"},
                                             {5001, "AVP unsupported"},
                                             {5002, "unknown session"},
                                             {5003, "authorization rejected"},
                                             {5004, "invalid AVP value"},
                                             {5005, "AVP missing"},
                                             {5006, "resources exceeded"},
                                             {5007, "contradicting AVPs"},
                                             {5008, "AVP not allowed"},
                                             {5009, "AVP occurs too often"},
                                             {5010, "no common application"},
                                             {5011, "unsupported version"},
                                             {5012, "unable to comply"},
                                             {5013, "invalid bit in the header"},
                                             {5014, "invalid AVP length"},
                                             {5015, "invalid message length"},
                                             {5017, "no common security"}};

/// What an attribute holds.
enum class Content : std::uint8_t { bytes, text, u32, u64, address, time, grouped };

struct Attribute {
    std::uint32_t code;
    std::string_view name;
    Content content;
};

inline constexpr Attribute attributes[] = {{1, "User-Name", Content::text},
                                           {25, "Class", Content::bytes},
                                           {27, "Session-Timeout", Content::u32},
                                           {33, "Proxy-State", Content::bytes},
                                           {44, "Accounting-Session-Id", Content::bytes},
                                           {50, "Acct-Multi-Session-Id", Content::text},
                                           {55, "Event-Timestamp", Content::time},
                                           {85, "Acct-Interim-Interval", Content::u32},
                                           {257, "Host-IP-Address", Content::address},
                                           {258, "Auth-Application-Id", Content::u32},
                                           {259, "Acct-Application-Id", Content::u32},
                                           {260, "Vendor-Specific-Application-Id", Content::grouped},
                                           {261, "Redirect-Host-Usage", Content::u32},
                                           {262, "Redirect-Max-Cache-Time", Content::u32},
                                           {263, "Session-Id", Content::text},
                                           {264, "Origin-Host", Content::text},
                                           {265, "Supported-Vendor-Id", Content::u32},
                                           {266, "Vendor-Id", Content::u32},
                                           {267, "Firmware-Revision", Content::u32},
                                           {268, "Result-Code", Content::u32},
                                           {269, "Product-Name", Content::text},
                                           {270, "Session-Binding", Content::u32},
                                           {271, "Session-Server-Failover", Content::u32},
                                           {272, "Multi-Round-Time-Out", Content::u32},
                                           {273, "Disconnect-Cause", Content::u32},
                                           {274, "Auth-Request-Type", Content::u32},
                                           {276, "Auth-Grace-Period", Content::u32},
                                           {277, "Auth-Session-State", Content::u32},
                                           {278, "Origin-State-Id", Content::u32},
                                           {279, "Failed-AVP", Content::grouped},
                                           {280, "Proxy-Host", Content::text},
                                           {281, "Error-Message", Content::text},
                                           {282, "Route-Record", Content::text},
                                           {283, "Destination-Realm", Content::text},
                                           {284, "Proxy-Info", Content::grouped},
                                           {285, "Re-Auth-Request-Type", Content::u32},
                                           {287, "Accounting-Sub-Session-Id", Content::u64},
                                           {291, "Authorization-Lifetime", Content::u32},
                                           {292, "Redirect-Host", Content::text},
                                           {293, "Destination-Host", Content::text},
                                           {294, "Error-Reporting-Host", Content::text},
                                           {295, "Termination-Cause", Content::u32},
                                           {296, "Origin-Realm", Content::text},
                                           {297, "Experimental-Result", Content::grouped},
                                           {298, "Experimental-Result-Code", Content::u32},
                                           {299, "Inband-Security-Id", Content::u32},
                                           {411, "CC-Correlation-Id", Content::bytes},
                                           {415, "CC-Request-Number", Content::u32},
                                           {416, "CC-Request-Type", Content::u32},
                                           {420, "CC-Time", Content::u32},
                                           {421, "CC-Total-Octets", Content::u64},
                                           {431, "Granted-Service-Unit", Content::grouped},
                                           {437, "Requested-Service-Unit", Content::grouped},
                                           {443, "Subscription-Id", Content::grouped},
                                           {444, "Subscription-Id-Data", Content::text},
                                           {446, "Used-Service-Unit", Content::grouped},
                                           {450, "Subscription-Id-Type", Content::u32},
                                           {456, "Multiple-Services-Credit-Control", Content::grouped},
                                           {461, "Service-Context-Id", Content::text},
                                           {480, "Accounting-Record-Type", Content::u32},
                                           {483, "Accounting-Realtime-Required", Content::u32},
                                           {485, "Accounting-Record-Number", Content::u32}};

inline constexpr auto attributeNames = [] {
    std::array<NamedValue, std::size(attributes)> names{};
    for (std::size_t i = 0; i < names.size(); ++i)
        names[i] = {attributes[i].code, attributes[i].name};
    return names;
}();

} // namespace netrondo::diameter
