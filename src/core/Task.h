#pragma once

// Coroutines for the waits of the driver objects. A member that must wait for a reply is written
// as a coroutine returning Task<T>: it runs at once, suspends at each `co_await`, and other
// requests and received chunks are served meanwhile. Overlapping waits each end on their own
// deadline, which nested event loops cannot do (they unwind last-in-first-out).
//
// A Task may be awaited by another coroutine, or observed with then(); dropping it leaves the
// coroutine running to its end.

#include <coroutine>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

namespace mivel {

template <class T = void> class [[nodiscard]] Task {
public:
    using Value = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

private:
    struct State {
        std::optional<Value> value;
        std::coroutine_handle<> awaiter;
        std::function<void(const Value&)> then;

        void finish(Value v) {
            value = std::move(v);
            if (auto h = std::exchange(awaiter, {}))
                h.resume();
            if (auto f = std::exchange(then, {}))
                f(*value);
        }
    };

    struct PromiseBase {
        std::shared_ptr<State> state = std::make_shared<State>();
        Task get_return_object() { return Task(state); }
        std::suspend_never initial_suspend() noexcept { return {}; }
        std::suspend_never final_suspend() noexcept { return {}; }
        void unhandled_exception() { std::terminate(); }
    };
    struct ValuePromise : PromiseBase {
        void return_value(Value v) {
            auto keep = this->state;
            keep->finish(std::move(v));
        }
    };
    struct VoidPromise : PromiseBase {
        void return_void() {
            auto keep = this->state;
            keep->finish(Value{});
        }
    };

public:
    using promise_type = std::conditional_t<std::is_void_v<T>, VoidPromise, ValuePromise>;

    // A task that is already finished with v.
    static Task ready(Value v = {}) {
        auto s = std::make_shared<State>();
        s->value = std::move(v);
        return Task(std::move(s));
    }

    bool isDone() const { return state_ && state_->value.has_value(); }
    const Value& result() const { return *state_->value; }

    // Calls f with the result when the task finishes (at once if it already has).
    void then(std::function<void(const Value&)> f) {
        if (isDone())
            f(*state_->value);
        else
            state_->then = std::move(f);
    }

    auto operator co_await() const {
        struct Awaiter {
            std::shared_ptr<State> state;
            bool await_ready() const noexcept { return state->value.has_value(); }
            void await_suspend(std::coroutine_handle<> h) { state->awaiter = h; }
            T await_resume() {
                if constexpr (!std::is_void_v<T>)
                    return std::move(*state->value);
            }
        };
        return Awaiter{state_};
    }

private:
    explicit Task(std::shared_ptr<State> s)
        : state_(std::move(s)) {}
    std::shared_ptr<State> state_;
};

} // namespace mivel
