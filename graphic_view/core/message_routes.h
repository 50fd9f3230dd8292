#pragma once
// A dispatcher table: (first code, last code) -> handler, sorted by code.
// Codes outside every range are ignored by the caller.
#include <QtGlobal>
#include <algorithm>
#include <cstddef>

namespace TOLVA {
namespace GRAPHIC {

// Whether the dispatcher remembers the message before calling the handler,
// so that the request can be replayed to bring its tool back.
enum class Remember { No, Yes };

template <class Handler>
struct MessageRoute {
    qint32 first;
    qint32 last;
    Remember remember;
    const char* name;  // the operation reached, for logs and tests
    Handler handler;
};

template <class Handler>
struct RouteTable {
    const MessageRoute<Handler>* begin_;
    std::size_t size_;
    const MessageRoute<Handler>* begin() const { return begin_; }
    const MessageRoute<Handler>* end() const { return begin_ + size_; }
    std::size_t size() const { return size_; }

    // The route whose range holds `code`, or null.
    const MessageRoute<Handler>* find(qint32 code) const {
        auto it = std::upper_bound(begin(), end(), code,
                                   [](qint32 c, const MessageRoute<Handler>& r) { return c < r.first; });
        if (it == begin()) return nullptr;
        --it;
        return code <= it->last ? it : nullptr;
    }

    // True when the ranges are sorted, well formed and do not overlap.
    bool isWellFormed() const {
        for (auto it = begin(); it != end(); ++it) {
            if (it->first > it->last) return false;
            if (it != begin() && (it - 1)->last >= it->first) return false;
        }
        return true;
    }
};

}  // namespace GRAPHIC
}  // namespace TOLVA
