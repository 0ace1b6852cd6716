// Whose turn it is to have work done that takes long. So many turns last at a time; they go round
// among the users that wait, so that nobody waits for all that another one has asked for:
//
// - a user with no turn that lasts goes before one who has some, and otherwise whoever had none for
//   longest; what one user wants begins in the order in which it was wanted;
// - nobody's turn is cut short, and no turn stays unused while somebody waits.
//
// A connection has one request at a time, so no more wait than there may be connections.
#ifndef QRX_SERVER_SERVE_TURNS_H
#define QRX_SERVER_SERVE_TURNS_H

#include <algorithm>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace qrx::server {

class Turns {
public:
    explicit Turns(int nAtATime) : m_nFree(nAtATime) {}

    // Waits, then lasts until the object goes; one that goes while it waits is withdrawn.
    class Turn {
    public:
        // fnBegin is called when the turn begins, by whichever thread ends another one or right
        // here. It only passes that on.
        Turn(Turns& turns, std::string strUser, std::function<void()> fnBegin)
            : m_turns(turns), m_strUser(std::move(strUser)), m_fnBegin(std::move(fnBegin)) {
            const std::lock_guard lock(m_turns.m_mutex);
            m_turns.m_listWaiting.push_back(this);
            m_turns.BeginNext();
        }
        ~Turn() {
            const std::lock_guard lock(m_turns.m_mutex);
            if (m_turns.m_listWaiting.remove(this) != 0) return;
            ++m_turns.m_nFree;
            --m_turns.m_mapUsers[m_strUser].nLasting;
            m_turns.BeginNext();
        }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        friend class Turns;
        Turns& m_turns;
        std::string m_strUser;
        std::function<void()> m_fnBegin;
    };

    // No turn begins from now on.
    void Stop() {
        const std::lock_guard lock(m_mutex);
        m_nFree = INT32_MIN / 2;
    }

private:
    struct User {
        int nLasting = 0;
        uint64_t nLastBegun = 0;  // counted over all turns
    };

    void BeginNext() {
        if (m_nFree <= 0 || m_listWaiting.empty()) return;
        const auto rank = [this](const Turn* pTurn) {
            const User& user = m_mapUsers[pTurn->m_strUser];
            return std::pair(user.nLasting, user.nLastBegun);
        };
        const auto it =
            std::min_element(m_listWaiting.begin(), m_listWaiting.end(),
                             [&](const Turn* a, const Turn* b) { return rank(a) < rank(b); });
        const Turn* pTurn = *it;
        m_listWaiting.erase(it);
        --m_nFree;
        User& user = m_mapUsers[pTurn->m_strUser];
        ++user.nLasting;
        user.nLastBegun = ++m_nBegun;
        pTurn->m_fnBegin();
    }

    std::mutex m_mutex;
    int m_nFree;
    uint64_t m_nBegun = 0;
    std::list<const Turn*> m_listWaiting;    // in the order in which they came
    std::map<std::string, User> m_mapUsers;  // all that ever had a turn
};

}  // namespace qrx::server

#endif
