#!/usr/bin/env python3
"""Writes the C++ side of the services in one .proto file: interface, methods, service and client.

usage: generate_services.py PROTO OUTPUT_FOLDER

PROTO is given as it is imported ("ipc/adac.proto", seen from the current folder). Writes ipc/adac.service.h and .cc.
Service blocks hold nothing but `rpc` lines and comments; anything else is an error.
"""
import pathlib
import re
import sys

RPC = re.compile(r"rpc (\w+)\((\w+)\) returns \((stream )?(\w+)\);")


def services(proto_path):
    """Yields (service name, [(method, request, is stream, answer)])."""
    text = re.sub(r"//[^\n]*", "", pathlib.Path(proto_path).read_text())
    for name, body in re.findall(r"^service (\w+) \{(.*?)^\}", text, re.S | re.M):
        methods = []
        for line in filter(None, (line.strip() for line in body.splitlines())):
            match = RPC.fullmatch(line)
            if not match:
                sys.exit(f"{proto_path}: service {name}: not understood: {line}")
            methods.append((match[1], match[2], bool(match[3]), match[4]))
        yield name, methods


def header(stem, found):
    out = ["#pragma once", "", "#include <functional>", "#include <memory>", "#include <utility>", "",
           f'#include "ipc/{stem}.pb.h"', '#include "platform/rpc/client.h"', '#include "platform/rpc/method.h"',
           '#include "platform/rpc/notifier.h"', '#include "platform/rpc/service.h"', "", "namespace ipc {"]
    for name, methods in found:
        out += ["", f"struct S{name}Methods {{"]
        for method, request, stream, answer in methods:
            kind = "SNotificationMethod" if stream else "SUnaryMethod"
            out.append(f'  static constexpr Rpc::{kind}<{request}, {answer}> {method}{{"/ipc.{name}/{method}"}};')
        out += ["};", "", f"/// The service as its provider implements it; called from several threads.", f"class I{name} {{",
                " public:", f"  virtual ~I{name}() = default;"]
        for method, request, stream, answer in methods:
            out.append(f"  virtual Rpc::CNotifier<{answer}>& {method}() = 0;" if stream else
                       f"  virtual {answer} {method}(const {request}& request) = 0;")
        out += ["};", "", f"std::shared_ptr<Rpc::CService> CreateService(std::shared_ptr<I{name}> provider);", "",
                f"/// The service as its callers see it. Outlives the subscriptions that it hands out.",
                f"class C{name}Client {{", " public:",
                f"  explicit C{name}Client(std::shared_ptr<Rpc::CClient> client) : mClient(std::move(client)) {{}}"]
        for method, request, stream, answer in methods:
            if stream:
                out.append(f"  [[nodiscard]] Rpc::Subscription {method}(const {request}& request, "
                           f"std::function<void(const {answer}&)> notification, "
                           "std::function<void(bool established)> link = {});")
            else:
                out.append(f"  Rpc::SResult<{answer}> {method}(const {request}& request);")
        out += ["", " private:", "  std::shared_ptr<Rpc::CClient> mClient;", "};"]
    return out + ["", "}  // namespace ipc", ""]


def source(stem, found):
    out = [f'#include "ipc/{stem}.service.h"', "", "namespace ipc {"]
    for name, methods in found:
        out += ["", f"std::shared_ptr<Rpc::CService> CreateService(std::shared_ptr<I{name}> provider) {{",
                "  auto service = std::make_shared<Rpc::CService>();"]
        for method, request, stream, answer in methods:
            out.append(f"  service->Offer(S{name}Methods::{method}, provider->{method}());" if stream else
                       f"  service->On(S{name}Methods::{method}, "
                       f"[provider](const {request}& request) {{ return provider->{method}(request); }});")
        out += ["  return service;", "}"]
        for method, request, stream, answer in methods:
            if stream:
                out += ["", f"Rpc::Subscription C{name}Client::{method}(const {request}& request, "
                        f"std::function<void(const {answer}&)> notification, "
                        "std::function<void(bool established)> link) {",
                        f"  return mClient->Subscribe(S{name}Methods::{method}, request, std::move(notification), "
                        "std::move(link));", "}"]
            else:
                out += ["", f"Rpc::SResult<{answer}> C{name}Client::{method}(const {request}& request) {{",
                        f"  return mClient->Call(S{name}Methods::{method}, request);", "}"]
    return out + ["", "}  // namespace ipc", ""]


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    proto, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    stem = pathlib.Path(proto).stem
    found = list(services(proto))
    (folder / f"ipc/{stem}.service.h").write_text("\n".join(header(stem, found)))
    (folder / f"ipc/{stem}.service.cc").write_text("\n".join(source(stem, found)))


if __name__ == "__main__":
    main()
