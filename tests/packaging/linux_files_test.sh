#!/usr/bin/env bash
# What the Debian package says in several places and no validator compares: identities, names, versions, icons.
#
#   linux_files_test.sh UDEV_RULE SOURCE VERSION
set -euo pipefail
udev_rule=$1 version=$3
cd "$2/packaging"
id=com.qxseries.FWUpdateTool

same() { [ "$2" = "$3" ] || { printf '%s: expected\n%s\nbut it is\n%s\n' "$1" "$2" "$3" >&2; exit 1; }; }
rule() { printf 'ACTION!="remove", SUBSYSTEM=="usb", ENV{DEVTYPE}=="usb_device", ATTR{idVendor}=="2e4d", ATTR{idProduct}=="%s", TAG+="uaccess"\n' "$@"; }

same "the identities that the rule opens" "$(rule 0300 0301 0304 0305 7300 7301 7304 7305)" \
  "$("$udev_rule" | grep -v '^#' | sort)"
same "the vendor that is triggered after the installation" 2e4d "$(sed -n 's/.*idVendor=\([^ ]*\).*/\1/p' linux/postinst)"

same "the newest version of the package" "$version-1" "$(sed -n '1s/.*(\(.*\)).*/\1/p' linux/changelog)"
released=$(date -u +%F -d "$(sed -n 's/^ -- .*>  //p' linux/changelog | head -n 1)")
same "the newest release for the software centre" "version=\"$version\" date=\"$released\"" \
  "$(sed -n 's/.*<release \(version.*\)>/\1/p' linux/$id.metainfo.xml | head -n 1)"
same "the manual page" "$version" "$(sed -n '1s/.*FW_Update_Tool \(.*\)"/\1/p' linux/FW_Update_Tool.1)"

same "the icon of the desktop entry" $id "$(sed -n 's/^Icon=//p' linux/$id.desktop)"
same "the name that the windows carry" $id "$(sed -n 's/.*setDesktopFileName("\(.*\)").*/\1/p' ../app/startup.cpp)"
sha256sum --check --quiet icons.sha256 || { echo "the icons do not belong to the art; run script/render-art" >&2; exit 1; }
