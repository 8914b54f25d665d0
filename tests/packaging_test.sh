#!/usr/bin/env bash
# What the project says in several places and no validator compares: hub identities, versions, names, icons.
#
#   packaging_test.sh SOURCE VERSION
set -euo pipefail
version=$2
cd "$1/packaging"
id=com.qxseries.FWUpdateTool

same() { [ "$2" = "$3" ] || { printf '%s: expected\n%s\nbut it is\n%s\n' "$1" "$2" "$3" >&2; exit 1; }; }
ids() { sed -n "s/$1/\\1 \\2/p" "$2" | tr A-F a-f | sort; }

same "the identities that the udev rule opens" \
  "$(ids '.*{1, 0x\([0-9A-F]*\), 0x\([0-9A-F]*\), 0}.*' ../hub/transport/hub_ids.cpp)" \
  "$(ids '^ACTION!="remove", SUBSYSTEM=="usb", ENV{DEVTYPE}=="usb_device", ATTR{idVendor}=="\(....\)", ATTR{idProduct}=="\(....\)", TAG+="uaccess"$' linux/70-fw-update-tool.rules)"
same "the vendor that is triggered after the installation" 2e4d "$(sed -n 's/.*idVendor=\([^ ]*\).*/\1/p' linux/postinst)"

same "the version in the dialog's title" "$version" "$(sed -n 's/.*title + "\(.*\)");.*/\1/p' ../app/fw_update_tool.cpp)"
same "the newest version in CHANGELOG.md" "$version" "$(sed -n 's/^## \([0-9.]*\).*/\1/p' ../CHANGELOG.md | head -n 1)"
same "the newest version of the package" "$version-1" "$(sed -n '1s/.*(\(.*\)).*/\1/p' linux/changelog)"
released=$(date -u +%F -d "$(sed -n 's/^ -- .*>  //p' linux/changelog | head -n 1)")
same "the newest release for the software centre" "version=\"$version\" date=\"$released\"" \
  "$(sed -n 's/.*<release \(version.*\)>/\1/p' linux/$id.metainfo.xml | head -n 1)"
same "the manual page" "$version" "$(sed -n '1s/.*FW_Update_Tool \(.*\)"/\1/p' linux/FW_Update_Tool.1)"

same "the icon of the desktop entry" $id "$(sed -n 's/^Icon=//p' linux/$id.desktop)"
same "the name that the windows carry" $id "$(sed -n 's/.*setDesktopFileName("\(.*\)").*/\1/p' ../app/startup.cpp)"
sha256sum --check --quiet icons.sha256 || { echo "the icons do not belong to the art; run script/render-art" >&2; exit 1; }
