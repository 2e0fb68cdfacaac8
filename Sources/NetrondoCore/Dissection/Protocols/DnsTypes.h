// DNS record types and classes (IANA's registry).
#pragma once

#include "Dissection/Decode/Field.h"

namespace netrondo {

inline constexpr NamedValue dnsTypes[] = {
    {1, "A"},      {2, "NS"},       {3, "MD"},          {4, "MF"},      {5, "CNAME"},   {6, "SOA"},
    {7, "MB"},     {8, "MG"},       {9, "MR"},          {10, "NULL"},   {11, "WKS"},    {12, "PTR"},
    {13, "HINFO"}, {14, "MINFO"},   {15, "MX"},         {16, "TXT"},    {17, "RP"},     {18, "AFSDB"},
    {24, "SIG"},   {25, "KEY"},     {28, "AAAA"},       {29, "LOC"},    {32, "NB"},     {33, "SRV"},
    {35, "NAPTR"}, {36, "KX"},      {37, "CERT"},       {39, "DNAME"},  {41, "OPT"},    {42, "APL"},
    {43, "DS"},    {44, "SSHFP"},   {45, "IPSECKEY"},   {46, "RRSIG"},  {47, "NSEC"},   {48, "DNSKEY"},
    {49, "DHCID"}, {50, "NSEC3"},   {51, "NSEC3PARAM"}, {52, "TLSA"},   {53, "SMIMEA"}, {55, "HIP"},
    {59, "CDS"},   {60, "CDNSKEY"}, {61, "OPENPGPKEY"}, {62, "CSYNC"},  {63, "ZONEMD"}, {64, "SVCB"},
    {65, "HTTPS"}, {99, "SPF"},     {108, "EUI48"},     {109, "EUI64"}, {249, "TKEY"},  {250, "TSIG"},
    {251, "IXFR"}, {252, "AXFR"},   {255, "ANY"},       {256, "URI"},   {257, "CAA"},
};

inline constexpr NamedValue dnsClasses[] = {{1, "IN"},     {3, "CH"},    {4, "HS"},
                                            {254, "NONE"}, {255, "ANY"}, {0x8001, "IN, cache flush"}};

} // namespace netrondo
