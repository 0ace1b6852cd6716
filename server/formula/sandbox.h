// The room in which one run of a formula takes place: a Lua state of its own with nothing in it, an
// allocator with a ceiling, and a meter of steps and processor time.
//
// The interpreter is C and leaves by longjmp: what it calls keeps no objects with destructors alive
// across calls that can raise an error.
#ifndef QRX_SERVER_FORMULA_SANDBOX_H
#define QRX_SERVER_FORMULA_SANDBOX_H

#include <lua.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <memory_resource>
#include <string>

#include "formula/bounds.h"

namespace qrx::server::formula {

class Sandbox {
public:
    explicit Sandbox(const Bounds& bounds);
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    lua_State* State() { return m_pState.get(); }
    static Sandbox& Of(lua_State* L) { return **static_cast<Sandbox**>(lua_getextraspace(L)); }

    // Calls pfn(pArgument) protected, with every bound in force. Throws FormulaError.
    void Run(lua_CFunction pfn, void* pArgument);

    // For what a function needs while it works: counts like what the state holds. Beyond a bound
    // it throws bad_alloc; Spend raises the error then.
    std::pmr::memory_resource& Memory() { return m_memory; }

    // For functions that work without the interpreter's steps. Raises an error when a bound is met.
    static void Spend(lua_State* L, uint64_t nSteps);

    // Before a large allocation in the interpreter, whose own error of memory knows no line: raises
    // one that does when the allocation cannot fit.
    static void MakeRoom(lua_State* L, size_t nBytes);

private:
    enum class Bound { None, Steps, Time, Memory };

    static void* Allocate(void* pOwner, void* p, size_t nOld, size_t nNew);
    static void OnCount(lua_State* L, lua_Debug* pWhere);
    bool IsOver(uint64_t nSteps);
    bool IsLate();
    std::string BoundText() const;

    class CountedMemory final : public std::pmr::memory_resource {
    public:
        explicit CountedMemory(Sandbox& sandbox) : m_sandbox(sandbox) {}

    private:
        void* do_allocate(size_t nBytes, size_t nAlignment) override;
        void do_deallocate(void* p, size_t nBytes, size_t nAlignment) override;
        bool do_is_equal(const memory_resource& other) const noexcept override {
            return this == &other;
        }

        Sandbox& m_sandbox;
    };

    struct Closer {
        void operator()(lua_State* L) const { lua_close(L); }
    };

    Bounds m_bounds;
    Bound m_met = Bound::None;  // the first one that was met
    uint64_t m_nSteps = 0;
    int64_t m_nEnd;  // processor time of the thread, ms
    size_t m_nBytes = 0;
    CountedMemory m_memory{*this};
    std::unique_ptr<lua_State, Closer> m_pState;  // goes first: it frees through the allocator
};

}  // namespace qrx::server::formula

#endif
