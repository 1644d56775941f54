// Callbacks: a function, a lambda or a member function with some of its last
// arguments bound, held by reference count.
//
//     XorpCallback1<void, const XrlError&>::RefPtr done =
//         callback(_lifeline, this, &Target::sent, priority, queue);
//     done->dispatch(error);            // calls sent(error, priority, queue)
//
// A callback that is bound to an object must not run after the object is
// gone. The Lifeline does that: it is a member of the object, and a callback
// made with it does nothing once the member is destroyed.
#pragma once

#include <functional>
#include <tuple>
#include <type_traits>
#include <utility>

#include "framework/base/ref_ptr.h"

// A member of an object that hands out callbacks to itself; declare it last,
// so that it goes first.
class Lifeline {
 public:
  Lifeline() : _token(new Token) {}
  ~Lifeline() { _token->alive = false; }
  Lifeline(const Lifeline&) = delete;
  Lifeline& operator=(const Lifeline&) = delete;

  struct Token : RefCounted {
    bool alive = true;
  };
  [[nodiscard]] const ref_ptr<Token>& token() const { return _token; }

 private:
  ref_ptr<Token> _token;
};

// What runs once for each dispatch(), and answers what the function answers. One that
// belongs to a Lifeline answers nothing.
template <typename R, typename... Args>
class XorpCallback : public RefCounted {
 public:
  using RefPtr = ref_ptr<XorpCallback>;
  virtual R dispatch(Args... args) = 0;
};

template <typename R, typename A1>
using XorpCallback1 = XorpCallback<R, A1>;

namespace callback_detail {

template <typename F, typename R, typename... Args>
class FunctionCallback final : public XorpCallback<R, Args...> {
 public:
  explicit FunctionCallback(F function) : _function(std::move(function)) {}
  R dispatch(Args... args) override { return _function(std::forward<Args>(args)...); }

 private:
  F _function;
};

template <typename F, typename... Args>
class GuardedCallback final : public XorpCallback<void, Args...> {
 public:
  GuardedCallback(ref_ptr<Lifeline::Token> token, F function)
      : _token(std::move(token)), _function(std::move(function)) {}
  void dispatch(Args... args) override {
    if (_token->alive) _function(std::forward<Args>(args)...);
  }

 private:
  ref_ptr<Lifeline::Token> _token;
  F _function;
};

// What make_callback() answers: turns into whichever callback type the place
// it is handed to asks for.
template <typename F>
class Pending {
 public:
  explicit Pending(F function) : _function(std::move(function)) {}
  template <typename R, typename... Args>
  requires std::is_invocable_r_v<R, F&, Args...>
  operator ref_ptr<XorpCallback<R, Args...>>() && {  // NOLINT(google-explicit-constructor)
    return ref_ptr<XorpCallback<R, Args...>>(
        new FunctionCallback<F, R, Args...>(std::move(_function)));
  }

 private:
  F _function;
};

template <typename F>
class PendingGuarded {
 public:
  PendingGuarded(ref_ptr<Lifeline::Token> token, F function)
      : _token(std::move(token)), _function(std::move(function)) {}
  template <typename... Args>
  requires std::is_invocable_v<F&, Args...>
  operator ref_ptr<XorpCallback<void, Args...>>() && {  // NOLINT(google-explicit-constructor)
    return ref_ptr<XorpCallback<void, Args...>>(
        new GuardedCallback<F, Args...>(std::move(_token), std::move(_function)));
  }

 private:
  ref_ptr<Lifeline::Token> _token;
  F _function;
};

}  // namespace callback_detail

// Any function object, run unconditionally.
template <typename F>
[[nodiscard]] auto callback(F function) {
  return callback_detail::Pending<F>(std::move(function));
}

// Any function object, run only while `owner` lives.
template <typename F>
[[nodiscard]] auto callback(const Lifeline& owner, F function) {
  return callback_detail::PendingGuarded<F>(owner.token(), std::move(function));
}

// A member function of `object` with its last arguments bound, run only
// while `owner` lives.
template <typename T, typename R, typename... Params, typename... Bound>
[[nodiscard]] auto callback(const Lifeline& owner, T* object, R (T::*method)(Params...),
                            Bound... bound) {
  auto function = [ object, method, ... held = std::move(bound) ](
      auto&&... args) requires std::is_invocable_v<R (T::*)(Params...), T*, decltype(args)...,
                                                   const Bound&...> {
    std::invoke(method, object, std::forward<decltype(args)>(args)..., held...);
  };
  return callback_detail::PendingGuarded<decltype(function)>(owner.token(), std::move(function));
}
