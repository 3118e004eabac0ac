// The table of findings. Each id has its entry in docs/failures.md.
#include "diag/record/Mark.h"

#include "diag/tell/Findings.h"
#include <iterator>

namespace Diag {

namespace {

// Members may exchange whatever lies in /etc/vantor/lumoclient, at any time. So these commands, which root types, never
// change rights through a name in there. Either the folder is closed to all but root first, and what lies there is
// looked at before it is touched; or a new file is finished in /etc/vantor, where only root writes, and moved.

/// find(1) acts on one regular file, no link, without a second name, which looks like a configuration; and shows it.
#define RIGHTS_COMMANDS                                                                                                \
    "sudo chown root:lumoadmin /etc/vantor/lumoclient\n"                                                               \
    "sudo chmod 755 /etc/vantor/lumoclient\n"                                                                          \
    "sudo find /etc/vantor/lumoclient -maxdepth 1 -name config -type f -links 1 -exec grep --quiet '<config' {} \\; "  \
    "-exec chown root:lumoadmin {} \\; -exec chmod 664 {} \\; -ls\n"                                                   \
    "sudo chmod 2775 /etc/vantor/lumoclient"

#define REPLACE_COMMANDS                                                                                               \
    "namei --long /etc/vantor/lumoclient/config\n"                                                                     \
    "sudo mv --no-target-directory /etc/vantor/lumoclient/config /etc/vantor/config.found\n"                           \
    "echo '<config/>' | sudo install --group=lumoadmin --mode=664 /dev/stdin /etc/vantor/config.new\n"                 \
    "sudo mv --no-target-directory /etc/vantor/config.new /etc/vantor/lumoclient/config"

/// The first folder is closed to all but root before the second is found in it.
#define ACCESS_LIST_COMMANDS "sudo setfacl --remove-all --remove-default /etc/vantor /etc/vantor/lumoclient"

constexpr char LookCommand[] = "namei --long /etc/vantor/lumoclient/config";

constexpr FindingKind Kinds[] = {
    {"service-not-installed", Severity::Error, Mark("Der PC/SC-Dienst ist nicht installiert."),
     Mark("Installieren Sie den Dienst und den Treiber für USB-Leser:"), "sudo apt install pcscd libccid"},
    {"service-not-running", Severity::Error, Mark("Der PC/SC-Dienst läuft nicht."),
     Mark("Starten Sie ihn, jetzt und bei jedem Systemstart:"), "sudo systemctl enable --now pcscd.socket"},
    {"service-not-reachable", Severity::Error, Mark("Der PC/SC-Dienst läuft, aber sein Socket fehlt."),
     Mark("Starten Sie Dienst und Socket neu:"),
     "sudo systemctl stop pcscd.service pcscd.socket\nsudo systemctl start pcscd.socket"},
    {"service-no-permission", Severity::Error,
     Mark("Die Rechte am Socket des PC/SC-Dienstes schließen diesen Benutzer aus."),
     Mark("Sehen Sie die Rechte an und lassen Sie den Socket neu anlegen:"),
     "ls -ld /run/pcscd /run/pcscd/pcscd.comm\nsudo systemctl restart pcscd.socket"},
    {"service-refused", Severity::Error, Mark("Der PC/SC-Dienst weist diesen Benutzer ab."),
     Mark("Ohne Sitzung an diesem Rechner, etwa über ssh, braucht der Benutzer eine polkit-Regel; sie steht in "
          "failures.md. Sehen Sie nach, was der Dienst meldet, schreiben Sie die Regel und starten Sie ihn neu:"),
     "journalctl --unit=pcscd --since=-5min\nsudoedit /etc/polkit-1/rules.d/50-lumoadmin.rules\n"
     "sudo systemctl restart pcscd.service"},
    {"service-protocol-mismatch", Severity::Error,
     Mark("Der PC/SC-Dienst und die PC/SC-Bibliothek haben verschiedene Versionen."),
     Mark("Bringen Sie beide auf denselben Stand und starten Sie den Dienst neu:"),
     "sudo apt install --reinstall pcscd libpcsclite1\nsudo systemctl restart pcscd.service"},
    {"service-frozen", Severity::Error, Mark("Der PC/SC-Dienst ist angehalten."), Mark("Lassen Sie ihn weiterlaufen:"),
     "sudo kill -CONT %s"},
    {"service-not-answering", Severity::Error, Mark("Der PC/SC-Dienst antwortet nicht mehr."),
     Mark("Starten Sie ihn neu:"), "sudo systemctl restart pcscd.service"},
    {"service-failed", Severity::Error, Mark("Der PC/SC-Dienst meldet einen Fehler."),
     Mark("Starten Sie ihn neu und sehen Sie nach, was er meldet:"),
     "sudo systemctl restart pcscd.service\njournalctl --unit=pcscd --since=-5min"},
    {"service-not-asked", Severity::Error,
     Mark("Der PC/SC-Dienst wurde nicht gefragt: Das System gab keinen Prozess dafür her."),
     Mark("Beenden Sie Programme dieses Benutzers, und sehen Sie nach, wie viele er haben darf:"),
     "ps --user NAME\nulimit -u"},

    {"no-readers", Severity::Error, Mark("PC/SC kennt keinen Kartenleser, und am USB ist keiner zu sehen."),
     Mark("Stecken Sie einen Leser an. Ist einer angesteckt, prüfen Sie Kabel und Anschluss; dieser Rechner sieht:"),
     "lsusb"},
    {"reader-not-listed", Severity::Error, Mark("Ein Kartenleser am USB fehlt in der Liste von PC/SC."),
     Mark("Installieren Sie seinen Treiber und starten Sie den Dienst neu:"),
     "sudo apt install libccid\nsudo systemctl restart pcscd.service\njournalctl --unit=pcscd --since=-5min"},
    {"reader-taken-by-kernel", Severity::Error,
     Mark("Ein Treiber des Kernels hat den Kartenleser belegt, bevor PC/SC ihn bekam."),
     Mark("Sperren Sie diesen Treiber und stecken Sie den Leser neu an:"),
     "echo 'blacklist %s' | sudo tee /etc/modprobe.d/lumoadmin-%s.conf\nsudo modprobe --remove %s"},
    {"reader-gone", Severity::Error, Mark("Der Leser wurde abgezogen, PC/SC führt ihn noch."),
     Mark("Stecken Sie ihn wieder an. Bleibt es dabei, starten Sie den Dienst neu:"),
     "sudo systemctl restart pcscd.service"},
    {"reader-held", Severity::Error, Mark("Ein anderes Programm hält den Leser für sich allein."),
     Mark("Beenden Sie dieses Programm. Welche Programme PC/SC geladen haben, sagt:"),
     "sudo grep --files-with-matches libpcsclite /proc/[0-9]*/maps"},
    {"reader-busy", Severity::Warning,
     Mark("Ein anderes Programm arbeitet gerade mit der Karte und gibt sie nicht frei."),
     Mark("Warten Sie, bis es fertig ist, oder beenden Sie es. Welche Programme PC/SC geladen haben, sagt:"),
     "sudo grep --files-with-matches libpcsclite /proc/[0-9]*/maps"},
    {"reader-not-answering", Severity::Error, Mark("Der Leser antwortet nicht."),
     Mark("Ziehen Sie ihn ab und stecken Sie ihn wieder an. Hilft das nicht, starten Sie den Dienst neu:"),
     "sudo systemctl restart pcscd.service"},
    {"reader-failed", Severity::Error, Mark("Der Leser lässt sich nicht öffnen."),
     Mark("Stecken Sie ihn neu an und sehen Sie nach, was der Dienst meldet:"),
     "journalctl --unit=pcscd --since=-5min"},
    {"card-mute", Severity::Error, Mark("Die Karte im Leser antwortet nicht."),
     Mark("Nehmen Sie sie heraus, reinigen Sie die Kontakte und stecken Sie sie richtig herum ein. Versuchen Sie "
          "eine andere Karte."),
     ""},
    {"card-failed", Severity::Error, Mark("Die Verbindung zur Karte kommt nicht zustande."),
     Mark("Stecken Sie die Karte neu ein. Hilft das nicht, versuchen Sie einen anderen Leser."), ""},
    {"attribute-failed", Severity::Warning, Mark("Der Treiber gibt Angaben über den Leser nicht richtig her."),
     Mark("Der Leser kann trotzdem benutzt werden. Ein neuerer Treiber kann helfen."), ""},
    {"attribute-not-text", Severity::Note, Mark("Der Treiber nennt Angaben, die kein Text sind."),
     Mark("Es ist nichts zu tun; der Bericht zeigt die Zeichen als \\xNN."), ""},
    {"pinpad-query-failed", Severity::Warning, Mark("Der Leser sagt nicht, was seine Tastatur kann."),
     Mark("PINs werden am Rechner eingegeben. Ein neuerer Treiber kann helfen."), ""},
    {"pinpad-list-broken", Severity::Warning, Mark("Der Treiber beschreibt die Tastatur des Lesers fehlerhaft."),
     Mark("Verlassen Sie sich nicht auf die PIN-Eingabe am Leser. Ein neuerer Treiber kann helfen."), ""},
    {"pinpad-by-name-only", Severity::Warning,
     Mark("Der Leser heißt wie einer mit PIN-Tastatur, aber sein Treiber bietet keine an."),
     Mark("Installieren Sie den Treiber des Herstellers; der allgemeine kennt die Tastatur mancher Geräte nicht:"),
     "apt-cache search --names-only libifd-cyberjack\nsudo systemctl restart pcscd.service"},
    {"pinpad-half", Severity::Warning,
     Mark("Der Leser kann PINs am Gerät nur prüfen oder nur ändern; er gilt als Leser ohne Tastatur."),
     Mark("Ein neuerer Treiber kann helfen."), ""},
    {"pinpad-not-in-table", Severity::Note,
     Mark("Der Leser hat eine PIN-Tastatur, steht aber nicht in der Tabelle bekannter Modelle."),
     Mark("Es ist nichts zu tun; die Tabelle zählt nur, wenn der Dienst nicht antwortet."), ""},
    {"readers-at-limit", Severity::Note, Mark("PC/SC führt 16 Leser; mehr bedient der Dienst nicht."),
     Mark("Fehlt ein weiterer Leser, stecken Sie einen anderen ab."), ""},

    {"configuration-missing", Severity::Note, Mark("Es gibt noch keine Konfiguration."),
     Mark("Öffnen Sie das Administrationsprogramm und speichern Sie:"), "lumoadmin"},
    {"configuration-unreadable", Severity::Error, Mark("Dieser Benutzer darf die Konfiguration nicht lesen."),
     Mark("Jeder muss sie lesen dürfen, sonst kann der Client es nicht:"),
     "sudo chmod a+rx /etc/vantor\n" RIGHTS_COMMANDS},
    {"configuration-malformed", Severity::Error, Mark("Die Konfiguration ist kein lesbares XML; sie gilt als leer."),
     Mark("Berichtigen Sie die genannte Zeile, ehe jemand speichert; sonst wird die Datei ersetzt und als "
          "config.unreadable aufgehoben:"),
     "sudoedit /etc/vantor/lumoclient/config"},
    {"configuration-put-aside", Severity::Warning,
     Mark("Eine unlesbare Konfiguration wurde beim Speichern beiseitegelegt; was darin stand, gilt nicht mehr."),
     Mark("Übernehmen Sie daraus, was Sie brauchen, und löschen Sie die Datei:"),
     "ls -la /etc/vantor/lumoclient\n"
     "diff /etc/vantor/lumoclient/config.unreadable /etc/vantor/lumoclient/config\n"
     "sudo rm /etc/vantor/lumoclient/config.unreadable"},
    {"configuration-read-only", Severity::Warning,
     Mark("Dieser Benutzer darf die Konfiguration nicht ändern; Speichern bleibt ohne Wirkung."),
     Mark("Nehmen Sie ihn in die Gruppe lumoadmin auf; das gilt ab seiner nächsten Anmeldung:"),
     "sudo usermod --append --groups lumoadmin NAME"},
    {"configuration-invalid", Severity::Warning, Mark("Die Konfiguration entspricht nicht ihrem Schema."),
     Mark("configuration.md beschreibt jedes Element. Berichtigen Sie die genannten Zeilen:"),
     "sudoedit /etc/vantor/lumoclient/config"},
    {"configuration-unread-element", Severity::Note, Mark("In der Konfiguration stehen Elemente, die niemand liest."),
     Mark("Prüfen Sie die Schreibweise; Groß- und Kleinschreibung zählt."), ""},
    {"configuration-no-reader", Severity::Warning,
     Mark("In der Konfiguration steht kein Leser; der Client darf keinen benutzen."),
     Mark("Wählen Sie im Administrationsprogramm Leser aus und speichern Sie:"), "lumoadmin"},
    {"configuration-reader-missing", Severity::Warning, Mark("Ein Leser der Konfiguration ist nicht angeschlossen."),
     Mark("Stecken Sie ihn an, oder wählen Sie die Leser neu aus; die Nummern am Ende des Namens hängen von den "
          "anderen Lesern ab:"),
     "lumoadmin"},
    {"configuration-language-unknown", Severity::Warning, Mark("Die Konfiguration nennt eine unbekannte Sprache."),
     Mark("Wählen Sie die Sprache im Administrationsprogramm neu und speichern Sie:"), "lumoadmin"},
    {"configuration-link", Severity::Warning,
     Mark("An der Stelle der Konfiguration liegt ein Verweis, der nicht root gehört."),
     Mark("Ändern Sie keine Rechte durch ihn hindurch; sie gälten für das, worauf er zeigt. Sehen Sie nach, wohin "
          "er führt, nehmen Sie ihn weg und legen Sie eine neue Datei an seine Stelle:"),
     REPLACE_COMMANDS},
    {"configuration-hard-link", Severity::Warning,
     Mark("Die Konfiguration hat noch einen Namen in einem anderen Ordner."),
     Mark("Was hier an Rechten geändert wird, gilt auch dort. Nehmen Sie diesen Namen weg und legen Sie eine neue "
          "Datei an seine Stelle:"),
     REPLACE_COMMANDS},
    {"configuration-foreign-owner", Severity::Warning,
     Mark("Die Konfiguration gehört jemandem, der nicht speichern darf."),
     Mark("Er kann sie trotzdem jederzeit ändern. Geben Sie sie root zurück:"), RIGHTS_COMMANDS},
    {"configuration-folder-open", Severity::Warning,
     Mark("Auch andere als root und die Gruppe lumoadmin können die Konfiguration durch etwas anderes ersetzen."),
     Mark("Stellen Sie zuerst die Rechte der Ordner wieder her:"),
     "namei --long /etc/vantor/lumoclient\nsudo chown root:root /etc/vantor\nsudo chmod 755 /etc/vantor\n"
     "sudo find /etc/vantor -maxdepth 1 -name lumoclient -type d -exec chown root:lumoadmin {} \\; "
     "-exec chmod 2775 {} \\; -ls"},
    {"configuration-access-list", Severity::Warning,
     Mark("Eine Zugriffsliste (ACL) lässt jemanden schreiben, der nicht speichern darf."),
     Mark("Sie gilt neben den Rechten, die ls zeigt. Nehmen Sie die Listen der Ordner weg:"), ACCESS_LIST_COMMANDS},
    {"configuration-not-strict-xml", Severity::Warning,
     Mark("Die Konfiguration gilt, aber andere Programme weisen sie ab: Sie ist kein XML nach den Regeln."),
     Mark("Das tun alle, die sich an die Regeln halten, xmllint zum Beispiel. Berichtigen Sie die genannte Zeile, "
          "und prüfen Sie die Datei:"),
     "sudoedit /etc/vantor/lumoclient/config\nxmllint --noout /etc/vantor/lumoclient/config"},
    {"configuration-document-type", Severity::Warning,
     Mark("Die Konfiguration hat einen Dokumenttyp; deshalb wurde nicht geprüft, was darin steht."),
     Mark("Entfernen Sie ihn. Das Administrationsprogramm überliest ihn und schreibt ihn nicht wieder; andere "
          "Programme lesen durch ihn etwas anderes:"),
     "sudoedit /etc/vantor/lumoclient/config"},
    {"configuration-many-readers", Severity::Warning,
     Mark("Die Konfiguration nennt mehr als 32 Leser; die weiteren fehlen in diesem Bericht."),
     Mark("Mehr als 16 bedient der PC/SC-Dienst nicht. Wählen Sie die Leser im Administrationsprogramm neu aus "
          "und speichern Sie:"),
     "lumoadmin"},

    {"log-not-writable", Severity::Warning,
     Mark("Ein Protokoll ist eingeschaltet, aber dieser Benutzer kann es nicht schreiben."),
     Mark("In das Verzeichnis des Minitreibers darf die Gruppe lumoadmin schreiben. Nehmen Sie den Benutzer auf:"),
     "sudo usermod --append --groups lumoadmin NAME"},
    {"log-elsewhere", Severity::Note,
     Mark("Das Protokoll des PKCS#11-Moduls liegt nicht im Verzeichnis dieses Benutzers."),
     Mark("Der Name stammt von dem, der zuletzt gespeichert hat. Speichern Sie neu, wenn das nicht gewollt ist:"),
     "lumoadmin"},
    {"log-large", Severity::Warning, Mark("Die Protokolle sind größer als 100 MiB."),
     Mark("Schalten Sie das Protokoll aus, wenn Sie es nicht mehr brauchen, und löschen Sie die Dateien."), ""},
    {"log-relative", Severity::Warning,
     Mark("Der gespeicherte Name des Protokolls beginnt nicht mit /; jedes Programm sucht es woanders."),
     Mark("So speichert, wer die Variable HOME nicht gesetzt hat. Setzen Sie sie, und speichern Sie neu:"),
     "HOME=~ lumoadmin"},

    {"window-open", Severity::Note, Mark("Das Fenster ist schon offen; ein zweites öffnet sich nicht."),
     Mark("Ist es nirgends zu sehen, beendet es dieser Befehl:"), "kill %s"},
};

constexpr OtherRemedy Others[] = {
    {"configuration-read-only", "file-system",
     Mark("Das Dateisystem lässt kein Schreiben zu, oft nach einem Fehler. So sehen Sie, welches und warum:"),
     "findmnt --target /etc/vantor\nsudo dmesg | grep -i remount"},
    {"configuration-read-only", "root",
     Mark("Nicht einmal root darf schreiben. Sehen Sie sich Eigentümer und Merkmale an:"),
     "ls -la /etc/vantor/lumoclient\nlsattr -d /etc/vantor/lumoclient /etc/vantor/lumoclient/config"},
    {"configuration-read-only", "rights",
     Mark("Er ist in der Gruppe lumoadmin, aber die Rechte stimmen nicht. Stellen Sie sie wieder her:"),
     RIGHTS_COMMANDS},
    {"configuration-read-only", "strange",
     Mark("Ändern Sie keine Rechte, ehe Sie wissen, was dort liegt, wem es gehört und wohin es führt:"), LookCommand},
    {"configuration-unreadable", "strange",
     Mark("Ändern Sie keine Rechte, ehe Sie wissen, was dort liegt, wem es gehört und wohin es führt:"), LookCommand},
    {"configuration-malformed", "no-file",
     Mark("Dort liegt keine Datei. Sehen Sie nach, was es ist, und legen Sie eine neue an seine Stelle:"),
     REPLACE_COMMANDS},
    {"configuration-access-list", "file",
     Mark("Sie gilt neben den Rechten, die ls zeigt. Nehmen Sie die Listen der Ordner weg, und legen Sie eine neue "
          "Datei an die Stelle der Konfiguration:"),
     ACCESS_LIST_COMMANDS "\n" REPLACE_COMMANDS},
    {"log-not-writable", "home",
     Mark("Es läge im eigenen Verzeichnis dieses Benutzers, und dort darf er nicht schreiben. So sehen Sie, wo "
          "die Rechte nicht stimmen:"),
     "namei --long ~/.vantor/'lumo Client'/Trace"},
    {"window-open", "elsewhere",
     Mark("Schließen Sie es auf dem Rechner oder in dem Container, der dasselbe persönliche Verzeichnis benutzt."), ""},
};

} // namespace

const std::vector<FindingKind>& FindingKinds() {
    static const std::vector<FindingKind> kinds(std::begin(Kinds), std::end(Kinds));
    return kinds;
}

const std::vector<OtherRemedy>& OtherRemedies() {
    static const std::vector<OtherRemedy> remedies(std::begin(Others), std::end(Others));
    return remedies;
}

} // namespace Diag
