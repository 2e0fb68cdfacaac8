// What numbers of VNC are called: messages, encodings, security types, keys.
#pragma once

#include "Dissection/Decode/Field.h"

namespace netrondo::vncNames {

inline constexpr NamedValue clientMessages[] = {
    {0, "Set pixel format"}, {2, "Set encodings"}, {3, "Framebuffer update request"},
    {4, "Key event"},        {5, "Pointer event"}, {6, "Client cut text"}};
inline constexpr NamedValue serverMessages[] = {
    {0, "Framebuffer update"}, {1, "Set colour map entries"}, {2, "Bell"}, {3, "Server cut text"}};

/// The negative ones are no pictures: they announce what a client understands, or tell of something else.
constexpr std::uint64_t pseudo(std::int32_t number)
{
    return static_cast<std::uint64_t>(std::int64_t{number});
}
inline constexpr NamedValue encodings[] = {{0, "raw"},
                                           {1, "copy rectangle"},
                                           {2, "RRE"},
                                           {4, "CoRRE"},
                                           {5, "Hextile"},
                                           {6, "zlib"},
                                           {7, "Tight"},
                                           {8, "zlibhex"},
                                           {15, "TRLE"},
                                           {16, "ZRLE"},
                                           {pseudo(-223), "desktop size"},
                                           {pseudo(-224), "last rectangle"},
                                           {pseudo(-232), "pointer position"},
                                           {pseudo(-239), "cursor"},
                                           {pseudo(-240), "X cursor"},
                                           {pseudo(-257), "pointer motion change"},
                                           {pseudo(-258), "extended key event"},
                                           {pseudo(-261), "LED state"},
                                           {pseudo(-307), "desktop name"},
                                           {pseudo(-308), "extended desktop size"},
                                           {pseudo(-312), "fence"},
                                           {pseudo(-313), "continuous updates"}};
inline constexpr NamedValue securityTypes[] = {
    {0, "invalid"}, {1, "none"}, {2, "VNC authentication"}, {5, "RA2"},   {6, "RA2ne"},     {16, "Tight"},
    {17, "Ultra"},  {18, "TLS"}, {19, "VeNCrypt"},          {20, "SASL"}, {21, "MD5 hash"}, {30, "Diffie-Hellman"}};
inline constexpr NamedValue results[] = {{0, "OK"}, {1, "failed"}, {2, "failed, too many attempts"}};

/// Keys by the numbers of the X Window System; what is printed has the number of its Latin-1 character.
inline constexpr NamedValue keys[] = {{0x20, "Space"},          {0xff08, "BackSpace"},
                                      {0xff09, "Tab"},          {0xff0d, "Return"},
                                      {0xff1b, "Escape"},       {0xff50, "Home"},
                                      {0xff51, "Left"},         {0xff52, "Up"},
                                      {0xff53, "Right"},        {0xff54, "Down"},
                                      {0xff55, "Page Up"},      {0xff56, "Page Down"},
                                      {0xff57, "End"},          {0xff63, "Insert"},
                                      {0xffbe, "F1"},           {0xffbf, "F2"},
                                      {0xffc0, "F3"},           {0xffc1, "F4"},
                                      {0xffc2, "F5"},           {0xffc3, "F6"},
                                      {0xffc4, "F7"},           {0xffc5, "F8"},
                                      {0xffc6, "F9"},           {0xffc7, "F10"},
                                      {0xffc8, "F11"},          {0xffc9, "F12"},
                                      {0xffe1, "Shift"},        {0xffe2, "Shift (right)"},
                                      {0xffe3, "Control"},      {0xffe4, "Control (right)"},
                                      {0xffe5, "Caps Lock"},    {0xffe7, "Meta"},
                                      {0xffe8, "Meta (right)"}, {0xffe9, "Alt"},
                                      {0xffea, "Alt (right)"},  {0xffeb, "Super"},
                                      {0xffff, "Delete"}};

} // namespace netrondo::vncNames
