#!/usr/bin/env python3
"""The macOS bundle, laid out on Linux: CMake is told that it builds for macOS, and every compiler and linker
call only creates its file, so what is built is the folder. Looks at Info.plist, the icon, who lies where, and at
what an installation has done to the bundle, with macdeployqt and codesign that only take notes.

    macos_bundle_test.py SOURCE QT5_DIR VERSION
"""
import os, pathlib, plistlib, shutil, struct, subprocess, sys, tempfile

source, qt5_dir, version = sys.argv[1:]
scratch = pathlib.Path(tempfile.mkdtemp())
shipped = {"Config.ini": b"[Model]\n", "hub.bin": b"hub", "scaler image.bin": b"scaler"}

TOOLCHAIN = """
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_OSX_SYSROOT / CACHE PATH "")
set(CMAKE_CXX_COMPILER_WORKS ON)
set(GTEST_LIBRARY x CACHE STRING "")
set(GTEST_MAIN_LIBRARY x CACHE STRING "")
set(CMAKE_PROJECT_INCLUDE %s/rules.cmake)
"""
RULES = """
set(CMAKE_CXX_COMPILE_OBJECT "<CMAKE_COMMAND> -E touch <OBJECT>")
set(CMAKE_CXX_CREATE_STATIC_LIBRARY "<CMAKE_COMMAND> -E touch <TARGET>")
set(CMAKE_CXX_LINK_EXECUTABLE "<CMAKE_COMMAND> -E touch <TARGET>")
"""


def run(*command, **more):
    return subprocess.run([str(part) for part in command], check=True, stdout=subprocess.DEVNULL, **more)


def build():
    (scratch / "toolchain").write_text(TOOLCHAIN % scratch)
    (scratch / "rules.cmake").write_text(RULES)
    (scratch / "shipped").mkdir()
    for name, content in shipped.items():
        (scratch / "shipped" / name).write_bytes(content)
    for tool in ("macdeployqt", "codesign"):
        (scratch / tool).write_text(f'#!/bin/sh\necho {tool} "$@" >>{scratch}/notes\nexit "$(cat {scratch}/{tool}.exit)"\n')
        (scratch / tool).chmod(0o755)
        (scratch / f"{tool}.exit").write_text("0")
    run("cmake", "-S", source, "-B", scratch / "build", "-G", "Ninja", "-Wno-dev", "-DCMAKE_BUILD_TYPE=Release",
        f"-DCMAKE_TOOLCHAIN_FILE={scratch}/toolchain", f"-DQt5_DIR={qt5_dir}",
        f"-DFW_SHIPPED_RESOURCES={scratch}/shipped", f"-DFW_MACDEPLOYQT={scratch}/macdeployqt",
        "-DCMAKE_INSTALL_NAME_TOOL=true", "-DCMAKE_SKIP_INSTALL_ALL_DEPENDENCY=ON")
    run("cmake", "--build", scratch / "build", "--target", "FW_Update_Tool")
    return scratch / "build/bin/FW_Update_Tool.app/Contents"


def check_layout(contents):
    files = {str(path.relative_to(contents)) for path in contents.rglob("*") if path.is_file()}
    resources = {f"Resources/{name}" for name in (*shipped, "FW_Update_Tool.icns")}
    assert files == {"Info.plist", "MacOS/FW_Update_Tool"} | resources, files
    for name, content in shipped.items():
        assert (contents / "Resources" / name).read_bytes() == content, name


def check_plist(contents):
    text = (contents / "Info.plist").read_text()
    assert "${" not in text and "@" not in text and "<string></string>" not in text, text
    plist = plistlib.loads(text.encode())
    expected = {"CFBundleExecutable": "FW_Update_Tool", "CFBundleName": "FW_Update_Tool",
                "CFBundleIdentifier": "com.qxseries.FWUpdateTool", "CFBundlePackageType": "APPL",
                "CFBundleShortVersionString": version, "CFBundleVersion": version,
                "LSMinimumSystemVersion": "10.13", "NSHighResolutionCapable": True}
    assert expected.items() <= plist.items(), plist
    check_icon((contents / "Resources" / plist["CFBundleIconFile"]).read_bytes())


def check_icon(icon):
    """Every element ends where the next begins, and the PNG files have the sizes that their kinds stand for."""
    sizes, at = {}, 8
    assert struct.unpack(">4sI", icon[:8]) == (b"icns", len(icon))
    while at < len(icon):
        kind, length = struct.unpack(">4sI", icon[at:at + 8])
        sizes[kind] = struct.unpack(">II", icon[at + 24:at + 32]) if icon[at + 9:at + 12] == b"PNG" else None
        at += length
    assert at == len(icon)
    pngs = {b"ic07": 128, b"ic08": 256, b"ic09": 512, b"ic10": 1024, b"ic11": 32, b"ic12": 64, b"ic13": 256, b"ic14": 512}
    old = dict.fromkeys((b"is32", b"s8mk", b"il32", b"l8mk"))
    assert sizes == {**{kind: (size, size) for kind, size in pngs.items()}, **old}, sizes


def check_installation():
    install = ("cmake", "--install", scratch / "build", "--prefix", scratch / "stage")
    environment = {**os.environ, "PATH": f"{scratch}:{os.environ['PATH']}"}
    bundle = scratch / "stage/FW_Update_Tool.app"
    for identity, signing in {"-": "-codesign=-", "A Maker (TEAM)": "-sign-for-notarization=A Maker (TEAM)"}.items():
        (scratch / "notes").unlink(missing_ok=True)
        run("cmake", "-Wno-dev", f"-DFW_CODESIGN_IDENTITY={identity}", scratch / "build")
        run(*install, env=environment)
        assert (bundle / "Contents/Resources/hub.bin").is_file()
        notes = (scratch / "notes").read_text().splitlines()
        assert notes == [f"macdeployqt {bundle} -always-overwrite {signing}",
                         f"codesign --verify --deep --strict {bundle}"], notes
    # A bundle whose signature is broken does not get into a disk image.
    (scratch / "codesign.exit").write_text("1")
    assert subprocess.run([str(part) for part in install], env=environment, capture_output=True).returncode != 0


try:
    contents = build()
    check_layout(contents)
    check_plist(contents)
    check_installation()
    settings = (scratch / "build/CPackConfig.cmake").read_text()
    assert 'CPACK_GENERATOR "DragNDrop"' in settings and f"FW_Update_Tool-{version}-macOS" in settings
finally:
    shutil.rmtree(scratch)
