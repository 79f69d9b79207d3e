#!/usr/bin/env python3
"""Reads packaging/buildroot as Buildroot would, without Buildroot: the menu by kconfig, the package by make, in a tree that
has no more than what they refer to. The argument is the source tree."""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

import kconfiglib

source = pathlib.Path(sys.argv[1]).resolve()
external = source / "packaging/buildroot"
os.environ["BR2_EXTERNAL_QUARN_PATH"] = str(external)

TOOLCHAIN = ["ARCH_IS_64", "INSTALL_LIBSTDCPP", "TOOLCHAIN_HAS_THREADS", "TOOLCHAIN_USES_GLIBC", "TOOLCHAIN_GCC_AT_LEAST_12",
             "TOOLCHAIN_HEADERS_AT_LEAST_4_8"]
LIBRARIES = ["LIBGPIOD", "TINYXML2", "CLI11", "LIBEDIT"]
MAKEFILE = """
cmake-package :=
include $(BR2_EXTERNAL_QUARN_PATH)/external.mk
INSTALL := install
show:
\t@echo '$(QUARN_SITE)|$(QUARN_DEPENDENCIES)|$(QUARN_CONF_OPTS)'
$(SOURCE)/.stamp_target_installed:
\t$(QUARN_INSTALL_DEFAULTS)
\t$(QUARN_INSTALL_INIT_SYSV)
\t$(QUARN_INSTALL_INIT_SYSTEMD)
"""


def selected(menu, tools):
    """The libraries that the menu selects with the package."""
    menu.syms["BR2_PACKAGE_QUARN"].set_value(2)
    menu.syms["BR2_PACKAGE_QUARN_TOOLS"].set_value(2 if tools else 0)
    return {library.lower() for library in LIBRARIES if menu.syms[f"BR2_PACKAGE_{library}"].tri_value}


def make(folder, *words):
    return subprocess.run(["make", "-s", "-C", folder, *words], check=True, stdout=subprocess.PIPE, text=True).stdout.strip()


with tempfile.TemporaryDirectory() as temporary:
    folder = pathlib.Path(temporary)
    stub = "".join(f'config BR2_{name}\n\tbool "{name}"\n\tdefault y\n' for name in TOOLCHAIN)
    stub += "".join(f'config BR2_PACKAGE_{name}\n\tbool "{name}"\n' for name in LIBRARIES)
    (folder / "Config.in").write_text(f'{stub}source "{external}/Config.in"\n')
    menu = kconfiglib.Kconfig(str(folder / "Config.in"), warn_to_stderr=False)
    assert not menu.warnings, menu.warnings
    for name in TOOLCHAIN:
        menu.syms[f"BR2_{name}"].set_value(0)
        assert not selected(menu, True), f"the package can be chosen without {name}"
        menu.syms[f"BR2_{name}"].set_value(2)

    (folder / "Makefile").write_text(MAKEFILE)
    known = set(re.findall(r"option\((\w+)|(BUILD_SHARED_LIBS)", (source / "CMakeLists.txt").read_text()))
    known = {name for names in known for name in names}
    for tools in (False, True):
        site, dependencies, options = make(folder, "show", f"BR2_PACKAGE_QUARN_TOOLS={'y' if tools else ''}").split("|")
        assert pathlib.Path(site).resolve() == source, site
        built_against = set(dependencies.split()) - {"host-pkgconf"}
        assert built_against == selected(menu, tools), f"{built_against} but {selected(menu, tools)}"
        for option in re.findall(r"-D(\w+)=", options):
            assert option in known, f"there is no option {option}"

    target = folder / "target"
    make(folder, f"{source}/.stamp_target_installed", "BR2_PACKAGE_QUARN_TOOLS=y", f"SOURCE={source}", f"TARGET_DIR={target}")
    installed = sorted(str(path.relative_to(target)) for path in target.rglob("*") if path.is_file())
    assert installed == ["etc/default/quarn-unit", "etc/init.d/S90quarn-unit", "usr/lib/systemd/system/quarn-unit.service"], installed
print("kconfig and make read the Buildroot package")
