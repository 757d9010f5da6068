#!/usr/bin/env python3
"""Checks that the library exports its interface and nothing else.

The interface is what the public headers mark BRENIK3_API: classes, free
functions and global objects. Every dynamic symbol the library defines must
belong to one of them (members, vtables, typeinfo, template members), or be
an instantiation of a standard-library template, which the compiler exports
with the library's code. A helper of the library's own, a function in an
anonymous or internal namespace, or a free function that no public header
declares makes the check fail. The check also fails when an interface function
or global is missing from the library.

Usage: check_exports.py LIBRARY HEADER...
"""
import re
import subprocess
import sys

ASAN_MARKER = "__odr_asan."
STANDARD = {"std", "__gnu_cxx", "__cxxabiv1"}
PREFIXES = ("typeinfo name for ", "typeinfo for ", "vtable for ", "VTT for ",
            "construction vtable for ", "guard variable for ", "non-virtual thunk to ",
            "virtual thunk to ")


def interface_names(headers):
    """The exported types, and the exported functions and global objects."""
    types, names = set(), set()
    patterns = [re.compile(r"^(?:class|struct)\s+BRENIK3_API\s+(\w+)"),
                re.compile(r"^extern\s+BRENIK3_API\s+[^;\[]*?(\w+)\s*[\[;]"),
                re.compile(r"^BRENIK3_API\s+[^(]*?(\w+)\s*\(")]
    for path in headers:
        with open(path, encoding="utf-8") as f:
            for line in f:
                for i, pattern in enumerate(patterns):
                    m = pattern.search(line)
                    if m:
                        (types if i == 0 else names).add(m.group(1))
    return types, names


def owner(symbol):
    """The first name of a demangled symbol's qualified name."""
    for prefix in PREFIXES:
        if symbol.startswith(prefix):
            symbol = symbol[len(prefix):]
    # Cut the parameter list and template arguments, keeping the qualified name.
    depth = 0
    name = ""
    for ch in symbol:
        if ch == "<":
            depth += 1
        elif ch == ">":
            depth -= 1
        elif depth == 0:
            if ch == "(":
                break
            name += ch
    name = name.split()[-1] if name.split() else name
    return name.split("::")[0]


def main():
    library, headers = sys.argv[1], sys.argv[2:]
    types, functions = interface_names(headers)
    interface = types | functions
    out = subprocess.run(["nm", "-D", "--defined-only", library], check=True,
                         capture_output=True, text=True).stdout
    mangled = [line.split()[-1] for line in out.splitlines() if line.strip()]
    # AddressSanitizer exports a marker beside each exported global; it is
    # judged as the global it names.
    mangled = [m[len(ASAN_MARKER):] if m.startswith(ASAN_MARKER) else m for m in mangled]
    demangled = subprocess.run(["c++filt"], input="\n".join(mangled), check=True,
                               capture_output=True, text=True).stdout.splitlines()
    strays = []
    owners = set()
    for raw, symbol in zip(mangled, demangled):
        first = owner(symbol)
        owners.add(first)
        if first not in interface and first not in STANDARD:
            strays.append(f"{symbol}   [{raw}]")
    # A plain record has no code, so only functions and globals must appear.
    missing = sorted(functions - owners)
    for s in strays:
        print("exported but not in the interface:", s)
    for m in missing:
        print("interface name not exported:", m)
    print(f"{len(mangled)} exported symbols, {len(interface)} interface names, "
          f"{len(strays)} strays, {len(missing)} missing")
    return 1 if strays or missing else 0


if __name__ == "__main__":
    sys.exit(main())
