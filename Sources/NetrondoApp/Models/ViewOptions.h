// How the user wants to see a capture; remembered from one run to the next.
#pragma once

#include "Analysis/Tcp/TCPSessionQuality.h"
#include "Circle/CircleHostLayoutMode.h"
#include "Circle/EdgeColorMode.h"
#include "Dissection/Classify/AnalysisMode.h"

class QSettings;

namespace netrondo {

enum class ThemeChoice { desktop, light, dark };

struct ViewOptions {
    AnalysisMode mode = AnalysisMode::l3IP;
    CircleHostLayoutMode layout = CircleHostLayoutMode::hosts;
    bool useBytes = true;
    bool showLineThickness = true;
    bool showHostNames = true;
    int limit = 250; ///< conversations, the largest first; 0 for all
    EdgeColorMode colorMode = EdgeColorMode::protocol;
    QualityStrictness strictness = QualityStrictness::balanced;
    ThemeChoice theme = ThemeChoice::desktop;

    void save(QSettings& settings) const;
    /// What the settings do not hold, or hold in a way that makes no sense, stays as it is.
    void load(const QSettings& settings);
    friend bool operator==(const ViewOptions&, const ViewOptions&) = default;
};

} // namespace netrondo
