#!/usr/bin/env bash
# Tests of the message catalogues and of scripts/catalogs, each on a copy of the tree.
# usage: CatalogsTest.sh CASE        without a case: lists them
set -euo pipefail

source_tree=$(cd "$(dirname "$0")/../../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tree=$work/tree

fail() { printf 'FAILED: %s\n' "$1" >&2; exit 1; }

copy_tree() {
  mkdir "$tree"
  local folder
  for folder in app config diag logging readers util po packaging scripts; do
    cp -r "$source_tree/$folder" "$tree/"
  done
}

check() { "$source_tree/scripts/catalogs" check "$tree" >"$work/said" 2>&1; }

expect_complaint() { # PART-OF-IT...
  if check; then fail "check found nothing wrong"; fi
  local part
  for part; do
    grep --quiet --fixed-strings -- "$part" "$work/said" || { cat "$work/said" >&2; fail "nothing was said about: $part"; }
  done
}

replace_translation() { # LANGUAGE TEXT LINE...: puts the lines in place of the one-line translation of TEXT
  local catalog=$tree/po/$1.po text=$2 line
  shift 2
  grep --quiet --fixed-strings --line-regexp "msgid \"$text\"" "$catalog" || fail "no such text: $text"
  for line; do printf '%s\n' "$line"; done >"$work/lines"
  awk -v id="msgid \"$text\"" -v lines="$work/lines" '
    hit { while ((getline line < lines) > 0) print line; hit = 0; next }
    { print }
    $0 == id { hit = 1 }' "$catalog" >"$work/catalog"
  cp "$work/catalog" "$catalog"
}

case_EveryTextHasATranslationInEveryCatalog() {
  copy_tree
  check || { cat "$work/said" >&2; fail "the catalogues are not complete"; }
}

case_AllKindsOfTextsAreCollected() {
  local text
  for text in "Weitere Einstellungen" "Unbekannter Kartenleser" "Fehler" "Microsoft Kryptografiedienste nicht gestartet"; do
    grep --quiet --fixed-strings "msgid \"$text\"" "$source_tree/po/LumoClient.pot" || fail "not collected: $text"
  done
}

case_ATextThatIsNewInTheCodeIsToldByName() {
  copy_tree
  # shellcheck disable=SC1003
  printf '%s\n' 'auto a = wxGetTranslation(L"Ein neuer Text, der " L"aus zweien besteht");' >"$tree/app/New.cpp"
  expect_complaint "po/de.po lacks" "po/en.po lacks" "Ein neuer Text, der aus zweien besteht" "LumoClient.pot is out of date"
}

case_ATextThatIsNewInTheLauncherIsToldByName() {
  copy_tree
  mkdir -p "$tree/packaging/launcher"
  printf '#!/bin/sh\ngettext "Noch ein Text"\n' >"$tree/packaging/launcher/another"
  expect_complaint "po/de.po lacks" "Noch ein Text"
}

case_ATextThatIsNewInTheMenuIsToldByName() {
  copy_tree
  mkdir -p "$tree/packaging/desktop"
  printf '[Desktop Entry]\nName=Neuer Eintrag\n' >"$tree/packaging/desktop/another.desktop.in"
  expect_complaint "po/en.po lacks" "Neuer Eintrag"
}

case_AnUntranslatedTextIsToldByName() {
  copy_tree
  replace_translation en "Weitere Einstellungen" 'msgstr ""'
  expect_complaint "po/en.po leaves untranslated" "Weitere Einstellungen"
  if grep --quiet "po/de.po" "$work/said"; then fail "the other catalogue is complete"; fi
}

case_AFuzzyTextIsToldByName() {
  copy_tree
  sed -i 's/^msgid "Aktualisieren"$/#, fuzzy\n&/' "$tree/po/en.po"
  expect_complaint "po/en.po is unsure about" "Aktualisieren"
}

case_OtherPlaceholdersAreTold() {
  copy_tree
  sed -i 's/^"lumo Client version %s\\n"$/"lumo Client version %d\\n"/' "$tree/po/en.po"
  expect_complaint "po/en.po is faulty" "format specifications"
}

case_ATextThatNobodyShowsIsToldByName() {
  copy_tree
  printf '\nmsgid "Längst entfernt"\nmsgstr "Removed long ago"\n' >>"$tree/po/en.po"
  expect_complaint "po/en.po holds texts that nobody shows" "Längst entfernt"
}

case_UpdateBringsANewTextIntoEveryCatalogAndKeepsTheOthers() {
  copy_tree
  printf '%s\n' 'auto a = wxGetTranslation(L"Ein neuer Text");' >"$tree/app/New.cpp"
  "$source_tree/scripts/catalogs" update "$tree"
  expect_complaint "po/de.po leaves untranslated" "po/en.po leaves untranslated" "Ein neuer Text"
  replace_translation de "Ein neuer Text" 'msgstr "Ein neuer Text"'
  replace_translation en "Ein neuer Text" 'msgstr "A new text"'
  check || { cat "$work/said" >&2; fail "the other texts should have stayed"; }
}

case_UpdateTwiceChangesNothingMore() {
  copy_tree
  "$source_tree/scripts/catalogs" update "$tree"
  diff -r "$source_tree/po" "$tree/po" || fail "what is checked in is not what update writes"
}

case_GermanTextsAreTheMessageIds() {
  # shellcheck disable=SC2016
  msgexec --input="$source_tree/po/de.po" sh -c \
    '[ -z "$MSGEXEC_MSGID" ] || [ "$(cat)" = "$MSGEXEC_MSGID" ] || { echo "$MSGEXEC_MSGID"; exit 1; }' ||
    fail "these are shown otherwise than the code has them"
}

case_ALanguageIsOneNewFile() {
  # given: nothing but po/fr.po is added
  mkdir "$tree"
  cp -r "$source_tree/po" "$tree/"
  sed 's/^"Language: en\\n"$/"Language: fr\\n"/; s/^msgstr "Cancel"$/msgstr "Annuler"/' "$tree/po/en.po" >"$tree/po/fr.po"
  printf 'cmake_minimum_required(VERSION 3.25)\nproject(languages NONE)\nadd_subdirectory(po)\n' >"$tree/CMakeLists.txt"

  # when
  cmake -G Ninja -S "$tree" -B "$work/build" -DCMAKE_INSTALL_SYSCONFDIR=etc >/dev/null
  cmake --build "$work/build" >/dev/null
  cmake --install "$work/build" --prefix "$work/installed" >/dev/null

  # then
  local language
  for language in de en fr; do
    [ -s "$work/installed/etc/lumoclient/I18N/$language/LC_MESSAGES/LumoClient.mo" ] || fail "$language is not installed"
  done
  # Not through a pipe: grep ends at the first match, and msgunfmt may then fail.
  msgunfmt "$work/installed/etc/lumoclient/I18N/fr/LC_MESSAGES/LumoClient.mo" >"$work/fr.po"
  grep --quiet '^msgstr "Annuler"$' "$work/fr.po" ||
    fail "the French catalogue holds something else"
}

case_AFaultyCatalogStopsTheBuild() {
  mkdir "$tree"
  cp -r "$source_tree/po" "$tree/"
  sed -i 's/^"lumo Client version %s\\n"$/"lumo Client version %d\\n"/' "$tree/po/en.po"
  printf 'cmake_minimum_required(VERSION 3.25)\nproject(languages NONE)\nadd_subdirectory(po)\n' >"$tree/CMakeLists.txt"
  cmake -G Ninja -S "$tree" -B "$work/build" >/dev/null
  if cmake --build "$work/build" >"$work/said" 2>&1; then fail "it was built all the same"; fi
  grep --quiet "format specifications" "$work/said" || fail "another reason: $(cat "$work/said")"
}

cases() { declare -F | sed -n 's/^declare -f case_//p'; }

if [ $# -eq 0 ]; then
  cases
else
  "case_$1"
fi
