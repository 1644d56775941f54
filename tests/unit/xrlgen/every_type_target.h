// A target that answers every_type/0.1 and odd_names/10.20 with what it is
// told and counts how often it is asked.
#pragma once

#include <string>

#include "tests/unit/xrlgen/interfaces/every_type_tgt.h"

class EveryTypeTarget : public XrlEveryTypeTargetBase {
 public:
  using XrlEveryTypeTargetBase::XrlEveryTypeTargetBase;

  int calls = 0;
  std::uint32_t level = 0;
  std::string port;
  XrlAtomList queues;
  XrlCmdError answer = XrlCmdError::OKAY();

  XrlCmdError every_type_0_1_echo(std::uint32_t a, std::int32_t b, std::uint64_t c, std::int64_t d,
                                  bool e, std::string_view f, IPv4 g, const IPv6& h, const Mac& i,
                                  std::span<const std::uint8_t> j, const XrlAtomList& k,
                                  const XrlAtomList& l, const XrlAtomList& m, std::uint32_t& ra,
                                  std::int32_t& rb, std::uint64_t& rc, std::int64_t& rd, bool& re,
                                  std::string& rf, IPv4& rg, IPv6& rh, Mac& ri, XrlAtom::Binary& rj,
                                  XrlAtomList& rk, XrlAtomList& rl, XrlAtomList& rm) override {
    ++calls;
    ra = a;
    rb = b;
    rc = c;
    rd = d;
    re = e;
    rf = f;
    rg = g;
    rh = h;
    ri = i;
    rj.assign(j.begin(), j.end());
    rk = k;
    rl = l;
    rm = m;
    return answer;
  }

  XrlCmdError every_type_0_1_nothing() override {
    ++calls;
    return answer;
  }

  XrlCmdError every_type_0_1_set_level(std::uint32_t new_level, std::string_view of) override {
    ++calls;
    level = new_level;
    port = of;
    return answer;
  }

  XrlCmdError every_type_0_1_get_level(std::string_view of, std::uint32_t& result) override {
    ++calls;
    port = of;
    result = level;
    return answer;
  }

  XrlCmdError every_type_0_1_set_queues(const XrlAtomList& new_queues) override {
    ++calls;
    queues = new_queues;
    return answer;
  }

  XrlCmdError every_type_0_1_get_queues(XrlAtomList& result, XrlAtomList& names) override {
    ++calls;
    result = queues;
    names.append("best effort");
    return answer;
  }

  XrlCmdError every_type_0_1_sum(const XrlAtomList& terms, std::uint32_t& total) override {
    ++calls;
    for (const std::uint32_t term : terms.u32s()) total += term;
    return answer;
  }

  XrlCmdError every_type_0_1_sum_both(const XrlAtomList& left, const XrlAtomList& right,
                                      std::uint32_t& total) override {
    ++calls;
    for (const XrlAtomList* terms : {&left, &right})
      for (const std::uint32_t term : terms->u32s()) total += term;
    return answer;
  }

  XrlCmdError odd_names_10_20_request(std::uint32_t target, std::uint32_t cb, std::uint32_t args,
                                      std::uint32_t in, std::uint32_t out, std::uint32_t handlers,
                                      std::uint32_t number, std::uint32_t& callback,
                                      std::uint32_t& error, std::uint32_t& results,
                                      std::uint32_t& done, std::uint32_t& complete) override {
    ++calls;
    callback = target + cb;
    error = args;
    results = in + out;
    done = handlers;
    complete = number;
    return answer;
  }

  XrlCmdError odd_names_10_20_hidden(std::uint32_t deliver_hidden, std::uint32_t send_hidden,
                                     std::uint32_t& bad_reply) override {
    ++calls;
    bad_reply = deliver_hidden + send_hidden;
    return answer;
  }

  XrlCmdError odd_names_10_20_untyped(const XrlAtomList& wrong, const XrlAtomList& in,
                                      std::uint32_t& out) override {
    ++calls;
    out = wrong.u32_at(0) + in.u32_at(0);
    return answer;
  }

  XrlCmdError odd_names_10_20_list(const XrlAtomList& list, std::uint32_t u32,
                                   std::string_view string_view) override {
    ++calls;
    level = static_cast<std::uint32_t>(list.size()) + u32;
    port = string_view;
    return answer;
  }

  XrlCmdError odd_names_10_20_send(std::uint32_t send) override {
    ++calls;
    level = send;
    return answer;
  }

  XrlCmdError odd_names_10_20_cmds(std::uint32_t number, std::string_view class_name,
                                   std::string_view text, std::uint32_t status) override {
    ++calls;
    level = number + status;
    port = std::string(class_name) + std::string(text);
    return answer;
  }

  XrlCmdError odd_names_10_20_interface(std::uint32_t target, std::uint32_t interface,
                                        std::uint32_t implements) override {
    ++calls;
    level = target + interface + implements;
    return answer;
  }
};
