#include <QCommandLineParser>
#include <QCoreApplication>

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Hopla"));
    QCoreApplication::setApplicationVersion(QStringLiteral(HOPLA_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Keyboard-first application switcher"));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.process(application); // --version and --help print and exit here

    parser.showHelp(0);
}
