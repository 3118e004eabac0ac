# shellcheck shell=bash
# What the tests of the Ansible tasks in docs/configuration.md share.
# shellcheck disable=SC2016,SC2034  # no expansion meant; the tests use the names
# shellcheck source=tests/package/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

command -v ansible-playbook >/dev/null || { echo "ansible-core is not installed (scripts/install-deps release)"; exit 77; }
needs_real_root

file=/etc/vantor/lumoclient/config
export ANSIBLE_LOCALHOST_WARNING=false ANSIBLE_NOCOLOR=1 ANSIBLE_HOME=$HOME/.ansible

# The page's two YAML blocks and its example, as the page names them.
fleet_files() {
  awk '/^```yaml$/ { getline name; sub(/^# /, "", name); sub(/:.*/, "", name); inside = 1; next }
       /^```$/ { inside = 0 } inside { print > name }' "$root/docs/configuration.md"
  sed -n '/^```xml$/,/^```$/{/^```/d;p}' "$root/docs/configuration.md" >lumoclient.xml
  cp "$root/docs/configuration.rng" .
  [ -s lumoclient.yml ] || fail "the page has no lumoclient.yml"
  [ -s site.yml ] || fail "the page has no site.yml"
}

# play ARGUMENT...    output in play.log
play() {
  ansible-playbook --inventory localhost, --connection local --extra-vars "ansible_python_interpreter=/usr/bin/python3" \
    "$@" site.yml >play.log 2>&1
}
changed_tasks() {
  sed -n 's/^localhost .*changed=\([0-9]*\).*/\1/p' play.log
}
