// The commands, dialects and the commonest statuses of SMB.
#pragma once

#include "Dissection/Decode/Field.h"

namespace netrondo::smbNames {

inline constexpr NamedValue commands1[] = {
    {0x00, "Create Directory"},
    {0x01, "Delete Directory"},
    {0x02, "Open"},
    {0x03, "Create"},
    {0x04, "Close"},
    {0x05, "Flush"},
    {0x06, "Delete"},
    {0x07, "Rename"},
    {0x08, "Query Information"},
    {0x09, "Set Information"},
    {0x0a, "Read"},
    {0x0b, "Write"},
    {0x0c, "Lock"},
    {0x0d, "Unlock"},
    {0x10, "Check Directory"},
    {0x11, "Process Exit"},
    {0x1a, "Read Raw"},
    {0x1b, "Read Multiplexed"},
    {0x1d, "Write Raw"},
    {0x1e, "Write Multiplexed"},
    {0x24, "Locking"},
    {0x25, "Transaction"},
    {0x2b, "Echo"},
    {0x2d, "Open AndX"},
    {0x2e, "Read AndX"},
    {0x2f, "Write AndX"},
    {0x32, "Transaction2"},
    {0x34, "Find Close2"},
    {0x70, "Tree Connect"},
    {0x71, "Tree Disconnect"},
    {0x72, "Negotiate"},
    {0x73, "Session Setup AndX"},
    {0x74, "Logoff AndX"},
    {0x75, "Tree Connect AndX"},
    {0x80, "Query Disk"},
    {0x81, "Search"},
    {0xa0, "NT Transact"},
    {0xa2, "NT Create AndX"},
    {0xa4, "NT Cancel"},
    {0xa5, "NT Rename"},
};
inline constexpr NamedValue commands2[] = {
    {0, "Negotiate"},      {1, "Session Setup"}, {2, "Logoff"},    {3, "Tree Connect"},  {4, "Tree Disconnect"},
    {5, "Create"},         {6, "Close"},         {7, "Flush"},     {8, "Read"},          {9, "Write"},
    {10, "Lock"},          {11, "Ioctl"},        {12, "Cancel"},   {13, "Keep Alive"},   {14, "Query Directory"},
    {15, "Change Notify"}, {16, "Query Info"},   {17, "Set Info"}, {18, "Oplock Break"},
};
inline constexpr NamedValue dialects2[] = {{0x0202, "SMB 2.0.2"}, {0x0210, "SMB 2.1"},   {0x02ff, "SMB 2"},
                                           {0x0300, "SMB 3.0"},   {0x0302, "SMB 3.0.2"}, {0x0311, "SMB 3.1.1"}};
inline constexpr NamedValue statuses[] = {
    {0x00000000, "success"},
    {0x00000103, "pending"},
    {0x0000010b, "notify cleanup"},
    {0x0000010c, "notify enumerate directory"},
    {0x80000005, "buffer overflow"},
    {0x80000006, "no more files"},
    {0xc0000003, "invalid info class"},
    {0xc0000008, "invalid handle"},
    {0xc000000d, "invalid parameter"},
    {0xc000000f, "no such file"},
    {0xc0000010, "invalid device request"},
    {0xc0000011, "end of file"},
    {0xc0000016, "more processing required"},
    {0xc0000022, "access denied"},
    {0xc0000023, "buffer too small"},
    {0xc0000033, "object name invalid"},
    {0xc0000034, "object name not found"},
    {0xc0000035, "object name collision"},
    {0xc000003a, "object path not found"},
    {0xc0000043, "sharing violation"},
    {0xc0000054, "file lock conflict"},
    {0xc0000056, "delete pending"},
    {0xc000006d, "logon failure"},
    {0xc000006e, "account restriction"},
    {0xc0000071, "password expired"},
    {0xc0000072, "account disabled"},
    {0xc000007f, "disk full"},
    {0xc00000ba, "file is a directory"},
    {0xc00000bb, "not supported"},
    {0xc00000c9, "network name deleted"},
    {0xc00000cc, "bad network name"},
    {0xc0000120, "cancelled"},
    {0xc0000128, "file closed"},
    {0xc0000201, "network open restriction"},
    {0xc0000203, "user session deleted"},
    {0xc0000225, "not found"},
    {0xc0000234, "account locked out"},
    {0xc0000257, "path not covered"},
};

inline constexpr NamedValue securityModes[] = {
    {1, "signing enabled"}, {2, "signing required"}, {3, "signing required"}};
inline constexpr NamedValue ntlmTypes[] = {{1, "negotiate"}, {2, "challenge"}, {3, "authenticate"}};
inline constexpr NamedValue shareTypes[] = {{1, "disk"}, {2, "pipe"}, {3, "printer"}};
inline constexpr NamedValue oplocks[] = {
    {0x00, "none"}, {0x01, "level II"}, {0x08, "exclusive"}, {0x09, "batch"}, {0xff, "lease"}};
inline constexpr NamedValue dispositions[] = {{0, "supersede"},      {1, "open"},      {2, "create"},
                                              {3, "open or create"}, {4, "overwrite"}, {5, "overwrite or create"}};
inline constexpr NamedValue createActions[] = {{0, "superseded"}, {1, "opened"}, {2, "created"}, {3, "overwritten"}};
inline constexpr NamedValue infoTypes[] = {{1, "file"}, {2, "file system"}, {3, "security"}, {4, "quota"}};
inline constexpr NamedValue controls[] = {{0x00060194, "get referrals"},
                                          {0x0011400c, "pipe peek"},
                                          {0x00110018, "pipe wait"},
                                          {0x0011c017, "pipe transceive"},
                                          {0x001440f2, "server copy chunk"},
                                          {0x00144064, "enumerate snapshots"},
                                          {0x00140078, "request resume key"},
                                          {0x001441bb, "read hash"},
                                          {0x001401d4, "request resiliency"},
                                          {0x001401fc, "query network interfaces"},
                                          {0x000900a4, "set reparse point"},
                                          {0x000900a8, "get reparse point"},
                                          {0x00098208, "file level trim"},
                                          {0x00140204, "validate negotiation"},
                                          {0x000900c0, "create or get object ID"}};

} // namespace netrondo::smbNames
