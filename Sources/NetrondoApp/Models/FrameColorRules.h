// Which frames of the packet list stand out, and in which hue: filters with a colour, the first that fits wins.
#pragma once

#include "Dissection/Filter/DisplayFilter.h"

#include <QColor>
#include <QString>
#include <vector>

namespace netrondo {

struct FrameColorRule {
    QString name;
    QString filter;
    QColor color; ///< of full strength; the list tints its ground with it

    friend bool operator==(const FrameColorRule&, const FrameColorRule&) = default;
};

class FrameColorRules {
public:
    FrameColorRules() = default;
    /// Rules whose filter does not compile are left out.
    explicit FrameColorRules(std::vector<FrameColorRule> rules);

    /// What the list begins with: trouble in strong colours, protocols in quiet ones.
    static FrameColorRules defaults();
    /// Those that the user has saved, or the defaults.
    static FrameColorRules saved();
    /// Keeps them for the next start.
    void save() const;

    const std::vector<FrameColorRule>& rules() const { return rules_; }
    /// The compiled filters, in the order of the rules.
    const std::vector<DisplayFilter>& filters() const { return filters_; }

    /// The ground of a row: the rule's hue laid thinly over the list's own, so that text keeps its contrast.
    static QColor ground(const QColor& rule, const QColor& base);

private:
    std::vector<FrameColorRule> rules_;
    std::vector<DisplayFilter> filters_;
};

} // namespace netrondo
