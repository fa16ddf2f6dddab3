#include "base/loc/BuiltInTexts.h"

namespace {

/// French has a no-break space before a colon and inside quotation marks, and a curved apostrophe. One text is worded
/// otherwise, since other programs know it by its bytes: plat_bad_argument. plat_configuration_global_params is shown
/// with a colon put behind it, so its French text ends in the space that belongs before that.
constexpr loc::TextRow Rows[] = {
    {
        .key = "plat_bad_argument",
        .en = "Bad argument '%S'.",
        .de = "Falsches Argument '%S'.",
        .es = "El argumento '%S' no es correcto.",
        .fr = "Argument incorrect : '%S'.",
        .pt = "Argumento incorreto '%S'.",
    },
    {
        .key = "plat_configuration_global_params",
        .en = "Global parameters",
        .de = "Globale Parameter",
        .es = "Parámetros globales",
        .fr = "Paramètres globaux\u00a0",
        .pt = "Parâmetros globais",
    },
    {
        .key = "plat_configuration_help_default",
        .en = "default",
        .de = "Standard",
        .es = "predeterminado",
        .fr = "par défaut",
        .pt = "padrão",
    },
    {
        .key = "plat_configuration_log_dests_title",
        .en = "Log destinations:",
        .de = "Protokollziele:",
        .es = "Destinos de registro:",
        .fr = "Destinations de journal\u00a0:",
        .pt = "Destinos de log:",
    },
    {
        .key = "plat_configuration_log_names_title",
        .en = "Log names:",
        .de = "Protokollnamen:",
        .es = "Nombres de registro:",
        .fr = "Noms de journal\u00a0:",
        .pt = "Nomes de log:",
    },
    {
        .key = "plat_configuration_option_usage_only",
        .en = "Options are parameters.",
        .de = "Optionen sind Parameter.",
        .es = "Las opciones son parámetros.",
        .fr = "Les options sont des paramètres.",
        .pt = "As opções são parâmetros.",
    },
    {
        .key = "plat_configuration_option_usage_with_extra",
        .en = "Options are parameters, and also the following:",
        .de = "Optionen sind Parameter und außerdem Folgendes:",
        .es = "Las opciones son parámetros y, además, lo siguiente:",
        .fr = "Les options sont des paramètres, ainsi que les éléments suivants\u00a0:",
        .pt = "As opções são parâmetros e também o seguinte:",
    },
    {
        .key = "plat_configuration_param_usage",
        .en = "Parameters can be turned on with -<param> or off with -<param>=0\n"
              "Values can be specified as -<param> <value>\n"
              "Other valid forms are <param>=<value> -<param>=<value> --<param>=<value>\n"
              "Names are case-insensitive.  Valid parameters are listed below.",
        .de = "Parameter lassen sich mit -<param> einschalten und mit -<param>=0 ausschalten\n"
              "Werte können als -<param> <value> angegeben werden\n"
              "Weitere gültige Formen sind <param>=<value> -<param>=<value> --<param>=<value>\n"
              "Bei Namen wird nicht zwischen Groß- und Kleinschreibung unterschieden. Die gültigen Parameter sind "
              "unten aufgeführt.",
        .es = "Los parámetros se activan con -<param> y se desactivan con -<param>=0\n"
              "Los valores se pueden especificar como -<param> <value>\n"
              "Otras formas válidas son <param>=<value> -<param>=<value> --<param>=<value>\n"
              "Los nombres no distinguen entre mayúsculas y minúsculas. A continuación se enumeran los parámetros "
              "válidos.",
        .fr = "Les paramètres s’activent avec -<param> et se désactivent avec -<param>=0\n"
              "Les valeurs peuvent être spécifiées sous la forme -<param> <value>\n"
              "Autres formes valides\u00a0: <param>=<value> -<param>=<value> --<param>=<value>\n"
              "Les noms ne sont pas sensibles à la casse. Les paramètres valides sont énumérés ci-dessous.",
        .pt = "Os parâmetros podem ser ativados com -<param> ou desativados com -<param>=0\n"
              "Os valores podem ser especificados como -<param> <value>\n"
              "Outras formas válidas são <param>=<value> -<param>=<value> --<param>=<value>\n"
              "Os nomes não diferenciam maiúsculas de minúsculas. Os parâmetros válidos estão listados abaixo.",
    },
    {
        .key = "plat_missing_argument",
        .en = "Missing argument to '%S'.",
        .de = "Fehlendes Argument für '%S'.",
        .es = "Falta el argumento de '%S'.",
        .fr = "Argument manquant pour '%S'.",
        .pt = "Argumento ausente para '%S'.",
    },
    {
        .key = "plat_param_log",
        .en = "Record events in the format <log>:<target>:<level>[,...].",
        .de = "Ereignisse aufzeichnen, anzugeben im Format <log>:<target>:<level>[,...].",
        .es = "Registra los eventos indicados con el formato <log>:<target>:<level>[,...].",
        .fr = "Enregistre les événements indiqués au format <log>:<target>:<level>[,...].",
        .pt = "Registra os eventos indicados no formato <log>:<target>:<level>[,...].",
    },
    {
        .key = "plat_param_log_keep_days",
        .en = "Keep log files for X days.",
        .de = "Protokolldateien X Tage lang aufbewahren.",
        .es = "Conserva los archivos de registro durante X días.",
        .fr = "Conserve les fichiers journaux pendant X jours.",
        .pt = "Mantém os arquivos de log por X dias.",
    },
    {
        .key = "plat_param_logdir",
        .en = "Directory in which to store log output directed to file.",
        .de = "Verzeichnis, in dem die in eine Datei geleitete Protokollausgabe gespeichert wird.",
        .es = "Directorio en el que se almacena la salida de registro dirigida a un archivo.",
        .fr = "Répertoire dans lequel stocker la sortie de journal dirigée vers un fichier.",
        .pt = "Diretório em que é armazenada a saída de log direcionada a um arquivo.",
    },
    {
        .key = "plat_param_logfile",
        .en = "File in which to store log output directed to file.",
        .de = "Datei, in der die in eine Datei geleitete Protokollausgabe gespeichert wird.",
        .es = "Archivo en el que se almacena la salida de registro dirigida a un archivo.",
        .fr = "Fichier dans lequel stocker la sortie de journal dirigée vers un fichier.",
        .pt = "Arquivo em que é armazenada a saída de log direcionada a um arquivo.",
    },
    {
        .key = "plat_press_return_to_continue",
        .en = "Press Enter/Return key to continue",
        .de = "Drücken Sie die Eingabetaste, um fortzufahren",
        .es = "Presione la tecla Entrar/Retorno para continuar",
        .fr = "Appuyez sur la touche Entrée/Retour pour continuer",
        .pt = "Pressione a tecla Enter/Return para continuar",
    },
    {
        .key = "plat_run_with_help",
        .en = "Run with -help for usage.",
        .de = "Führen Sie das Programm mit -help aus, um Informationen zur Verwendung anzuzeigen.",
        .es = "Ejecute el programa con -help para mostrar información de uso.",
        .fr = "Exécutez le programme avec -help pour afficher les informations d’utilisation.",
        .pt = "Execute o programa com -help para exibir informações de uso.",
    },
    {
        .key = "plat_string_too_long",
        .en = "String too long",
        .de = "Zeichenfolge zu lang",
        .es = "Cadena demasiado larga",
        .fr = "Chaîne trop longue",
        .pt = "Cadeia de caracteres muito longa",
    },
    {
        .key = "plat_this_program_not_directly",
        .en = "This program is not intended to be run directly.",
        .de = "Dieses Programm ist nicht für die direkte Ausführung vorgesehen.",
        .es = "Este programa no está pensado para ejecutarse directamente.",
        .fr = "Ce programme n’est pas destiné à être exécuté directement.",
        .pt = "Este programa não se destina a ser executado diretamente.",
    },
    {
        .key = "plat_usage_help",
        .en = "Provide [advanced] usage information.",
        .de = "[Erweiterte] Informationen zur Verwendung anzeigen.",
        .es = "Muestra información de uso [avanzada].",
        .fr = "Affiche les informations d’utilisation [avancées].",
        .pt = "Exibe informações de uso [avançadas].",
    },
    {
        .key = "plat_usage_label",
        .en = "Usage:",
        .de = "Verwendung:",
        .es = "Uso:",
        .fr = "Utilisation\u00a0:",
        .pt = "Uso:",
    },
};

const loc::BuiltInTexts texts(Rows);

}  // namespace
