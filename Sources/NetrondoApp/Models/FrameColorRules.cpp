// The rules that come with the program. Their hues are those that people with a colour-vision deficiency can tell
// apart (Okabe and Ito); the protocol column says the same in words.
#include "Models/FrameColorRules.h"

#include <QSettings>

namespace netrondo {

FrameColorRules::FrameColorRules(std::vector<FrameColorRule> rules)
{
    for (auto& rule : rules) {
        auto filter = DisplayFilter::compile(rule.filter.toStdString());
        if (!filter)
            continue;
        filters_.push_back(*std::move(filter));
        rules_.push_back(std::move(rule));
    }
}

FrameColorRules FrameColorRules::defaults()
{
    const QColor vermillion(0xd5, 0x5e, 0x00), orange(0xe6, 0x9f, 0x00), yellow(0xf0, 0xe4, 0x42);
    const QColor green(0x00, 0x9e, 0x73), sky(0x56, 0xb4, 0xe9), blue(0x00, 0x72, 0xb2), purple(0xcc, 0x79, 0xa7);
    const auto rule = [](const char* name, const char* filter, const QColor& color) {
        return FrameColorRule{QString::fromLatin1(name), QString::fromLatin1(filter), color};
    };
    return FrameColorRules({
        rule("TCP trouble",
             "tcp.analysis.retransmission or tcp.analysis.spurious_retransmission or tcp.analysis.ack_lost_segment or "
             "tcp.analysis.zero_window or tcp.analysis.duplicate_ack",
             vermillion),
        rule("Reset", "tcp.flags.reset == 1", vermillion),
        rule("Unreachable", "icmp.type == 3 or icmp.type == 11 or icmpv6.type == 1 or icmpv6.type == 3", orange),
        rule("TCP opens or closes", "tcp.flags.syn == 1 or tcp.flags.fin == 1", QColor(0x80, 0x80, 0x80)),
        rule("ARP", "arp", yellow),
        rule("ICMP", "icmp or icmpv6", purple),
        rule("Names and addresses", "dns or mdns or dhcp", sky),
        rule("Web", "http or http2 or tls or quic", green),
        rule("Files and sessions", "smb or ldap or kerberos or rpc or rdp or vnc or ssh or telnet or ftp", blue),
    });
}

FrameColorRules FrameColorRules::saved()
{
    QSettings settings;
    if (!settings.contains(QStringLiteral("decode/colors/size")))
        return defaults();
    std::vector<FrameColorRule> rules;
    const int count = settings.beginReadArray(QStringLiteral("decode/colors"));
    for (int i = 0; i < count; ++i) {
        settings.setArrayIndex(i);
        rules.push_back({settings.value(QStringLiteral("name")).toString(),
                         settings.value(QStringLiteral("filter")).toString(),
                         QColor(settings.value(QStringLiteral("color")).toString())});
    }
    std::erase_if(rules, [](const FrameColorRule& rule) { return !rule.color.isValid(); });
    return FrameColorRules(std::move(rules));
}

void FrameColorRules::save() const
{
    QSettings settings;
    settings.remove(QStringLiteral("decode/colors"));
    settings.beginWriteArray(QStringLiteral("decode/colors"), static_cast<int>(rules_.size()));
    for (std::size_t i = 0; i < rules_.size(); ++i) {
        settings.setArrayIndex(static_cast<int>(i));
        settings.setValue(QStringLiteral("name"), rules_[i].name);
        settings.setValue(QStringLiteral("filter"), rules_[i].filter);
        settings.setValue(QStringLiteral("color"), rules_[i].color.name());
    }
    settings.endArray();
}

QColor FrameColorRules::ground(const QColor& rule, const QColor& base)
{
    const double share = base.lightnessF() > 0.5 ? 0.14 : 0.24;
    const auto mix = [share](int a, int b) { return static_cast<int>(a * share + b * (1 - share)); };
    return QColor(mix(rule.red(), base.red()), mix(rule.green(), base.green()), mix(rule.blue(), base.blue()));
}

} // namespace netrondo
