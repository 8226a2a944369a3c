#!/usr/bin/env bash
# The support package as a plain shell script: the yardstick of bench/run-package-bench.
#
#   bench/package-baseline.sh ARCHIVE.zip [ATTACHMENT...]
#
# Does the package job's work with ordinary tools, in the job's order: a small system report,
# the same nine command lines run with `env -i /bin/sh -c` into system/, the same files copied
# into application/ (feature folders AE_65, AE7, AE8, V1, V2; the product logs at its top) and
# user/, a manifest package.xml listing every entry, then `zip -r -q` over the staging folder.
# Machine-wide paths are taken below CORVIX_ROOT, per-user ones from HOME and XDG_CONFIG_HOME,
# as the job takes them. Like the job it prints its steps on standard error, leaves its staging
# folder "/tmp/osp_XXXXXXX" in place and prints "staging folder: PATH" on standard output.
# Shell built-ins are used wherever one does the work, so that the script is no slower than it
# needs to be.
set -euo pipefail

archive=${1:?usage: package-baseline.sh ARCHIVE.zip [ATTACHMENT...]}
shift
case $archive in /*) ;; *) archive=$PWD/$archive ;; esac
[ -e "$archive" ] && rm -f -- "$archive"

root=${CORVIX_ROOT:-}
products="$root/Library/Application Support/Orvanta Software"
config=${XDG_CONFIG_HOME:-$HOME/.config}
logs="$config/Orvanta/Corvix"
prefs="$HOME/Library/Preferences/Adobe"

staging=$(mktemp -d /tmp/osp_XXXXXXX)
sys=$staging/system
app=$staging/application
usr=$staging/user
mkdir "$sys" "$app" "$usr"

system_entries=()
app_entries=()  # "feature|path" ("|path" without a feature)
user_entries=()
step=0

progress() {
  step=$((step + 1))
  printf '[%2d/21] %s\n' "$step" "$1" >&2
}

capture() {  # capture FILE COMMAND: a fresh file, listed once
  env -i /bin/sh -c "$2" >"$sys/$1" || true
  system_entries+=("$1")
}

append() {  # append FILE COMMAND: extends the file of the previous capture
  env -i /bin/sh -c "$2" >>"$sys/$1" || true
}

# copy FEATURE FILE...: the regular files among FILE into application/FEATURE (or application/
# itself for an empty feature), one cp for the lot.
copy() {
  local feature=$1 target=$app files=() f
  shift
  for f in "$@"; do
    [ -f "$f" ] && files+=("$f")
  done
  if [ -n "$feature" ]; then
    target=$app/$feature
    [ -d "$target" ] || mkdir "$target"
  fi
  [ ${#files[@]} -eq 0 ] && return 0
  cp -- "${files[@]}" "$target/"
  for f in "${files[@]}"; do
    app_entries+=("$feature|${f##*/}")
  done
}

shopt -s nullglob

progress "system report"
os_version= os_build=
for release in "$root/etc/os-release" "$root/usr/lib/os-release"; do
  if [ -r "$release" ]; then
    while IFS='=' read -r key value; do
      value=${value#\"} && value=${value%\"}
      case $key in VERSION_ID) os_version=$value ;; BUILD_ID) os_build=$value ;; esac
    done <"$release"
    break
  fi
done
mem_kb=0
while read -r key value _; do
  [ "$key" = MemTotal: ] && mem_kb=$value && break
done </proc/meminfo
cat >"$sys/system.xml" <<EOF
<?xml version="1.0" ?>
<system_info version="1.0">
	<operating_system>
		<platform>Linux</platform>
		<version>$os_version</version>
		<build>$os_build</build>
		<language></language>
	</operating_system>
	<hardware>
		<cpu_count>$(getconf _NPROCESSORS_ONLN)</cpu_count>
		<total_ram unit="mb">$((mem_kb / 1024))</total_ram>
	</hardware>
</system_info>
EOF
system_entries+=(system.xml)

progress "user console log"
capture console.log "/bin/journalctl --user -b --no-pager -n 5000"
progress "system console log"
capture systemConsole.log "/bin/journalctl -b --no-pager -n 5000"
progress "process list"
capture processList.txt "/usr/bin/top -b -n1 -w 512"
progress "hardware settings"
capture hardwareInfo.txt "/usr/bin/lscpu; /bin/cat /proc/meminfo"
progress "kernel settings"
capture shm.txt "/sbin/sysctl -a"
progress "host name"
capture hostname.txt "/sbin/sysctl kernel.hostname"
progress "network interfaces"
capture ifconfig.txt "if [ -x /sbin/ifconfig ]; then /sbin/ifconfig -a; else /bin/ip addr show; fi"
progress "user id"
capture userInfo.txt "/usr/bin/id -u"
progress "user groups"
append userInfo.txt "/usr/bin/id"

progress "After Effects 6.5 preferences"
files=("$prefs/After Effects 6.5"*)
[ ${#files[@]} -gt 0 ] && copy AE_65 "${files[@]}"
progress "After Effects 7.0 preferences"
files=("$prefs/After Effects/7.0/Adobe After Effects 7.0"*)
[ ${#files[@]} -gt 0 ] && copy AE7 "${files[@]}"
progress "After Effects 8.0 preferences"
files=("$prefs/After Effects/8.0/Adobe After Effects 8.0"*)
[ ${#files[@]} -gt 0 ] && copy AE8 "${files[@]}"
progress "version 1 frame cache registry"
copy V1 "$products/CorvixPro/FrameCache.cpr"
progress "version 1 settings"
copy V1 "$products/CorvixPro/Config.txt"
progress "version 1 render queue"
files=("$products/CorvixPro/RenderQueue/"*)
[ ${#files[@]} -gt 0 ] && copy V2 "${files[@]}"
progress "version 2 frame cache registry"
copy V2 "$products/CorvixPro2/FrameCache.cpr"
progress "version 2 settings"
copy V2 "$products/CorvixPro2/Config.txt"
progress "version 2 render queue"
files=("$products/CorvixPro2/RenderQueue/"*)
[ ${#files[@]} -gt 0 ] && copy V2 "${files[@]}"
progress "product logs"
files=("$logs/"*)
[ ${#files[@]} -gt 0 ] && copy "" "${files[@]}"
progress "attachments"
if [ $# -gt 0 ]; then
  cp -- "$@" "$usr/"
  for f in "$@"; do
    user_entries+=("${f##*/}")
  done
fi

printf 'saving %s\n' "$archive" >&2
{
  printf '<?xml version="1.0" ?>\n<SupportInfo version="1.0">\n'
  printf '\t<application>Corvix</application>\n\t<timestamp>%(%s)T</timestamp>\n' -1
  printf '\t<system_info>\n'
  for e in "${system_entries[@]}"; do
    printf '\t\t<infofile>\n\t\t\t<name>%s</name>\n\t\t\t<path>system/%s</path>\n' "$e" "$e"
    printf '\t\t</infofile>\n'
  done
  printf '\t</system_info>\n\t<app_info>\n'
  for e in "${app_entries[@]}"; do
    feature=${e%%|*} name=${e#*|}
    if [ -n "$feature" ]; then
      printf '\t\t<infofile feature="%s">\n\t\t\t<name>%s</name>\n' "$feature" "$name"
      printf '\t\t\t<path>application/%s/%s</path>\n' "$feature" "$name"
    else
      printf '\t\t<infofile>\n\t\t\t<name>%s</name>\n\t\t\t<path>application/%s</path>\n' \
        "$name" "$name"
    fi
    printf '\t\t</infofile>\n'
  done
  printf '\t</app_info>\n\t<user_info>\n'
  for e in "${user_entries[@]}"; do
    printf '\t\t<infofile>\n\t\t\t<name>%s</name>\n\t\t\t<path>user/%s</path>\n' "$e" "$e"
    printf '\t\t</infofile>\n'
  done
  printf '\t</user_info>\n</SupportInfo>\n'
} >"$staging/package.xml"

(cd "$staging" && zip -r -q "$archive" .)
printf 'staging folder: %s\n' "$staging"
