// Seating the hosts of a tidied ring, the best match first.
#include "Circle/CircleOrder.h"

#include "Base/Result.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace netrondo {
namespace {

constexpr auto worst = -std::numeric_limits<double>::max();

/// The largest of many changing numbers, the first of them on a tie: a tournament.
class Tournament {
public:
    explicit Tournament(std::size_t players)
        : leaves_(std::bit_ceil(players)), winner_(2 * leaves_), score_(leaves_, worst)
    {
        for (std::size_t i = 0; i < leaves_; ++i)
            winner_[leaves_ + i] = static_cast<std::uint32_t>(i);
        for (std::size_t i = leaves_; i-- > 1;)
            winner_[i] = winner_[2 * i];
    }
    double score(std::uint32_t player) const { return score_[player]; }
    void set(std::uint32_t player, double score)
    {
        score_[player] = score;
        for (auto i = (leaves_ + player) / 2; i > 0; i /= 2) {
            const auto left = winner_[2 * i], right = winner_[2 * i + 1];
            winner_[i] = score_[left] >= score_[right] ? left : right;
        }
    }
    std::uint32_t winner() const { return winner_[1]; }

private:
    std::size_t leaves_;
    std::vector<std::uint32_t> winner_;
    std::vector<double> score_;
};

/// Keeps for every host without a seat its best score, or a number that it cannot exceed. A placement raises that bound
/// for the neighbours of the seated host alone, and makes inexact only those who wanted the same seat; a score is
/// summed up when its bound comes to the top. So the sums that decide are those of the plain search, term by term.
class Seating {
public:
    Seating(std::uint32_t hosts, std::span<const RingEdge> edges)
        : hosts_(hosts)
        , factors_(2 * std::size_t{hosts})
        , candidates_(hosts)
        , scores_(hosts)
        , hostAt_(hosts, nobody)
        , nearest_(hosts, hosts)
        , row_(hosts)
    {
        const double half = hosts / 2.0;
        for (std::size_t i = 0; i < factors_.size(); ++i)
            factors_[i] = 1 - std::abs(distance(static_cast<std::uint32_t>(i % hosts), 0) - half) / half;
        for (const auto& edge : edges) {
            if (!(edge.weight > 0))
                continue;
            candidates_[edge.a].neighbours.push_back({edge.b, edge.weight});
            candidates_[edge.b].neighbours.push_back({edge.a, edge.weight});
        }
    }

    std::vector<std::uint32_t> run(std::uint32_t first, std::uint32_t second)
    {
        place({first, 0});
        place({second, hosts_ / 2});
        for (std::uint32_t placed = 2; placed < hosts_; ++placed)
            place(bestChoice());
        return std::move(hostAt_);
    }

private:
    static constexpr std::uint32_t nobody = std::numeric_limits<std::uint32_t>::max();
    static constexpr std::uint32_t nowhere = nobody;
    static constexpr double lonerScale = 0.000001;
    /// Sums in another order may differ in their last bits; a bound must not be the smaller one for that.
    static constexpr double roundingRoom = 1 + 1e-9;

    struct Neighbour {
        std::uint32_t host;
        double weight;
    };
    struct SeatedNeighbour {
        std::uint32_t seat;
        double weight;
    };
    struct Candidate {
        std::vector<Neighbour> neighbours;
        std::vector<SeatedNeighbour> seated; ///< in the order of their seats
        std::uint32_t bestSeat = nowhere;    ///< where its score is reached; nowhere while that is only a bound
        bool placed = false;
    };
    struct Choice {
        std::uint32_t host, seat;
    };

    std::uint32_t distance(std::uint32_t a, std::uint32_t b) const
    {
        const auto steps = a > b ? a - b : b - a;
        return std::min(steps, hosts_ - steps);
    }

    void place(Choice choice)
    {
        const auto [host, seat] = choice;
        hostAt_[seat] = host;
        candidates_[host].placed = true;
        scores_.set(host, worst);
        for (std::uint32_t s = 0; s < hosts_; ++s)
            nearest_[s] = std::min(nearest_[s], distance(s, seat));
        for (auto& candidate : candidates_)
            if (candidate.bestSeat == seat)
                candidate.bestSeat = nowhere; // taken; what it scored there is still a bound for the other seats
        for (const auto& [other, weight] : candidates_[host].neighbours) {
            auto& candidate = candidates_[other];
            if (candidate.placed)
                continue;
            const double bound = candidate.seated.empty() ? 0 : scores_.score(other);
            const auto at = std::ranges::lower_bound(candidate.seated, seat, {}, &SeatedNeighbour::seat);
            candidate.seated.insert(at, {seat, weight});
            candidate.bestSeat = nowhere;
            scores_.set(other, (bound + weight) * roundingRoom);
        }
    }

    Choice bestChoice()
    {
        auto host = scores_.winner();
        while (scores_.score(host) != worst && candidates_[host].bestSeat == nowhere) {
            sumUp(host);
            host = scores_.winner();
        }
        const double score = scores_.score(host);
        // Loners count a little, which on rings of thousands can be more than a light conversation does.
        if (score <= hosts_ * lonerScale)
            if (const auto alone = firstLoner(); alone != nobody) {
                const auto seat = loneliestSeat();
                const double lonely = nearest_[seat] * lonerScale;
                if (lonely > score || (lonely == score && alone < host))
                    return {alone, seat};
            }
        return {host, candidates_[host].bestSeat};
    }

    /// The scores of a host at all free seats, and the best of them.
    void sumUp(std::uint32_t host)
    {
        std::ranges::fill(row_, 0.0);
        for (const auto& [seat, weight] : candidates_[host].seated) {
            const double* factor = factors_.data() + (hosts_ - seat);
            for (std::uint32_t s = 0; s < hosts_; ++s)
                row_[s] += weight * factor[s];
        }
        double best = worst;
        for (std::uint32_t s = 0; s < hosts_; ++s)
            if (row_[s] > best && hostAt_[s] == nobody)
                best = row_[s], candidates_[host].bestSeat = s;
        scores_.set(host, best);
    }

    /// The first host that waits without seated neighbours. Who has one keeps it, so the search only moves on.
    std::uint32_t firstLoner()
    {
        while (loner_ < hosts_ && (candidates_[loner_].placed || !candidates_[loner_].seated.empty()))
            ++loner_;
        return loner_ < hosts_ ? loner_ : nobody;
    }

    /// The first free seat of those farthest from everybody.
    std::uint32_t loneliestSeat() const
    {
        std::uint32_t loneliest = nowhere;
        for (std::uint32_t s = 0; s < hosts_; ++s)
            if (hostAt_[s] == nobody && (loneliest == nowhere || nearest_[s] > nearest_[loneliest]))
                loneliest = s;
        return loneliest;
    }

    std::uint32_t hosts_;
    std::vector<double> factors_; ///< how nearly opposite, by steps from seat to seat, for two turns
    std::vector<Candidate> candidates_;
    Tournament scores_; ///< of connected candidates; the others have the worst
    std::vector<std::uint32_t> hostAt_;
    std::vector<std::uint32_t> nearest_; ///< for each seat the distance to the next seated host
    std::vector<double> row_;
    std::uint32_t loner_ = 0;
};

} // namespace

std::vector<std::uint32_t> ringOrder(std::uint32_t hosts, std::span<const RingEdge> edges, std::uint32_t first,
                                     std::uint32_t second)
{
    NR_ASSERT(hosts >= 3 && first < hosts && second < hosts && first != second);
    return Seating(hosts, edges).run(first, second);
}

} // namespace netrondo
