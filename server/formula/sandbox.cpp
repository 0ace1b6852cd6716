// The bounds, where they are met. An allocation beyond one fails, which ends the run like an error:
// that holds work without steps (collecting garbage, growing tables) to the time bound, too.
#include "formula/sandbox.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <new>

namespace qrx::server::formula {
namespace {

constexpr int kStepsBetweenLooks = 1000;
constexpr size_t kMaxErrorBytes = 512;            // names in errors may be as long as the formula
constexpr size_t kLargeBlock = size_t{64} << 10;  // allocations from here on look at the clock

int64_t ThreadMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

// Texts go into answers and logs: one line of printable ASCII.
std::string Cleaned(std::string strText) {
    for (char& c : strText) {
        if (c < ' ' || c > '~') c = '?';
    }
    return strText;
}

}  // namespace

Sandbox::Sandbox(const Bounds& bounds)
    : m_bounds(bounds),
      m_nEnd(ThreadMilliseconds() + bounds.nMilliseconds),
      m_pState(lua_newstate(Allocate, this)) {
    if (!m_pState) throw std::bad_alloc();
    *static_cast<Sandbox**>(lua_getextraspace(State())) = this;
    lua_sethook(State(), OnCount, LUA_MASKCOUNT, kStepsBetweenLooks);
}

void* Sandbox::Allocate(void* pOwner, void* p, size_t nOld, size_t nNew) {
    Sandbox& sandbox = *static_cast<Sandbox*>(pOwner);
    if (p == nullptr) nOld = 0;  // it holds a type then
    if (nNew == 0) {
        sandbox.m_nBytes -= nOld;
        free(p);
        return nullptr;
    }
    if (nNew > nOld) {  // to shrink must not fail
        const bool bFits = sandbox.m_nBytes - nOld + nNew <= sandbox.m_bounds.nBytes;
        if ((!bFits || nNew >= kLargeBlock) && sandbox.IsLate()) return nullptr;
        if (!bFits) return nullptr;
    }
    void* pNew = realloc(p, nNew);
    if (pNew != nullptr) sandbox.m_nBytes += nNew - nOld;
    return pNew;
}

void* Sandbox::CountedMemory::do_allocate(size_t nBytes, size_t nAlignment) {
    void* p =
        nAlignment > alignof(std::max_align_t) ? nullptr : Allocate(&m_sandbox, nullptr, 0, nBytes);
    if (p == nullptr && m_sandbox.m_met == Bound::None) {
        // As the interpreter does: what nobody holds any more goes before anything is refused.
        lua_gc(m_sandbox.State(), LUA_GCCOLLECT);
        p = Allocate(&m_sandbox, nullptr, 0, nBytes);
        if (p == nullptr && m_sandbox.m_met == Bound::None) m_sandbox.m_met = Bound::Memory;
    }
    if (p == nullptr) throw std::bad_alloc();
    return p;
}

void Sandbox::CountedMemory::do_deallocate(void* p, size_t nBytes, size_t) {
    Allocate(&m_sandbox, p, nBytes, 0);
}

bool Sandbox::IsLate() {
    if (m_met == Bound::None && ThreadMilliseconds() > m_nEnd) m_met = Bound::Time;
    return m_met != Bound::None;
}

bool Sandbox::IsOver(uint64_t nSteps) {
    m_nSteps += nSteps;
    if (m_met == Bound::None && m_nSteps > m_bounds.nSteps) m_met = Bound::Steps;
    return IsLate();
}

void Sandbox::OnCount(lua_State* L, lua_Debug* pWhere) {
    if (!Of(L).IsOver(kStepsBetweenLooks)) return;
    lua_getinfo(L, "l", pWhere);
    lua_pushfstring(L, "line:%d: ", pWhere->currentline);  // Run adds which bound
    lua_error(L);
}

void Sandbox::Spend(lua_State* L, uint64_t nSteps) {
    if (!Of(L).IsOver(nSteps)) return;
    luaL_where(L, 1);
    lua_error(L);
}

void Sandbox::MakeRoom(lua_State* L, size_t nBytes) {
    Sandbox& sandbox = Of(L);
    const auto fits = [&] { return sandbox.m_nBytes + nBytes <= sandbox.m_bounds.nBytes; };
    if (fits()) return;
    lua_gc(L, LUA_GCCOLLECT);  // as the interpreter does before it gives up
    if (fits()) return;
    if (sandbox.m_met == Bound::None) sandbox.m_met = Bound::Memory;
    luaL_where(L, 1);
    lua_error(L);
}

std::string Sandbox::BoundText() const {
    switch (m_met) {
        case Bound::Steps:
            return "takes too many steps, more than " + std::to_string(m_bounds.nSteps);
        case Bound::Time:
            return "takes too long, more than " + std::to_string(m_bounds.nMilliseconds) + " ms";
        default:
            return "takes too much memory, more than " + std::to_string(m_bounds.nBytes >> 20) +
                   " MB";
    }
}

void Sandbox::Run(lua_CFunction pfn, void* pArgument) {
    lua_State* L = State();
    lua_pushcfunction(L, pfn);
    lua_pushlightuserdata(L, pArgument);
    const int nResult = lua_pcall(L, 1, 0, 0);
    if (nResult == LUA_OK) return;
    size_t nLen = 0;
    const char* pText = lua_type(L, -1) == LUA_TSTRING ? lua_tolstring(L, -1, &nLen) : "";
    std::string strText(pText, std::min(nLen, kMaxErrorBytes));
    lua_pop(L, 1);
    if (const size_t nAt = strText.find("C stack overflow"); nAt != std::string::npos) {
        strText.replace(nAt, std::string::npos, "calls or comparisons nested too deeply");
    }
    if (nResult == LUA_ERRMEM) {
        strText.clear();
        if (m_met == Bound::None) m_met = Bound::Memory;
    }
    if (m_met != Bound::None) strText += BoundText();
    if (strText.starts_with("line:")) strText[4] = ' ';
    throw FormulaError(Cleaned(strText));
}

}  // namespace qrx::server::formula
