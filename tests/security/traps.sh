# shellcheck shell=bash
# What ann, a member of the group, lays out for root in the folder $folder, and what she is after.
# shellcheck disable=SC2016,SC2034,SC2154  # Perl's own variables; the tests say which folder

rights() { stat --format='%F %U:%G %a' "$1"; }

# Files of root's that a member would like to have; as they are, in one text.
treasures() {
  stat --format='%n %F %U:%G %a %h %s %Y' /etc/shadow /etc/passwd /etc/cron.d
  sha256sum /etc/shadow /etc/passwd
  ls /etc/cron.d
}

# set_trap KIND NAME    as a member, in the folder
set_trap() {
  case $1 in
    link) as ann ln --symbolic /etc/shadow "$folder/$2" ;;
    dangling) as ann ln --symbolic /etc/cron.d/mine "$folder/$2" ;;
    fifo) as ann mkfifo "$folder/$2" ;;
    directory) as ann mkdir "$folder/$2" ;;
  esac
}

# meanwhile PROGRAM    a member runs this Perl over and over in the folder, until enough is called
meanwhile() {
  setpriv --reuid ann --regid ann --init-groups \
    perl -e 'chdir shift; my $turn = eval "sub { $ARGV[0] }" or die; $turn->() while 1' "$folder" "$1" 2>/dev/null &
  member=$!
}
enough() {
  kill "$member" || depth=1 fail "the member had stopped"
  wait "$member" 2>/dev/null || :
}

# What the member's turn makes of config and config.new, in every order that chance brings.
swapping='use POSIX; for my $name ("config", "config.new") {
    rename "ann", $name if open my $new, ">", "ann";
    unlink $name; symlink "/etc/shadow", $name;
    unlink $name; symlink "/etc/cron.d/mine", $name;
    unlink $name; POSIX::mkfifo($name, 0666);
    unlink $name; mkdir $name; rmdir $name;
  }'
