// Findings as rich text.
#pragma once

#include "Models/Selection.h"

#include <QString>
#include <QStringList>
#include <cstdint>

class QUrl;

namespace netrondo {

class CaptureFindings;
struct CaptureExpertSummary;

namespace FindingText {
/// A finding with all that is known of it. Links: `select:A/B` hosts, `frame:N` frames.
QString full(const CaptureFindings& findings, std::uint32_t index);
/// The capture as a whole: how much is wrong, what was looked at, what was left out.
QString overview(const CaptureFindings& findings);
/// Plain text where no finding is to be shown: none there are, or none that is wanted.
QString nothing(const CaptureFindings& findings);
/// "2,100 frames read = 2,000 analysed + 100 left out: 60 not IP, 40 EtherType 0x88cc".
QString account(const CaptureExpertSummary& summary);
/// A line each: what the analysis could not take as it is, and what was left out to keep memory bounded.
QStringList caveats(const CaptureExpertSummary& summary);
/// What a `select:` link is about.
Selected selected(const QUrl& link);
} // namespace FindingText

} // namespace netrondo
