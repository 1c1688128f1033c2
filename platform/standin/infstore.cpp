#include "platform/standin/infstore.h"

#include "platform/platform.h"
#include "platform/standin/deviceinstallation.h"
#include "platform/standin/lasterror.h"
#include "platform/standin/paths.h"
#include "platform/standin/textbuffer.h"
#include "platform/text.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace platform {

namespace {

class InfFunctions
{
public:
    explicit InfFunctions(const std::shared_ptr<Machine> &machine) : m_machine(machine) {}

    BOOL SetupCopyOEMInfW(const WCHAR *SourceInfFileName, const WCHAR *, DWORD OEMSourceMediaType,
                          DWORD CopyStyle, WCHAR *DestinationInfFileName,
                          DWORD DestinationInfFileNameSize, DWORD *RequiredSize,
                          WCHAR **DestinationInfFileNameComponent)
    {
        const char *operation = "SetupCopyOEMInfW";
        if (!SourceInfFileName)
            return fail(ErrorInvalidParameter);
        if (OEMSourceMediaType != SourceMediaNone ||
            (CopyStyle & ~(CopyInfCatalogOnly | CopyNoOverwrite)))
            return failUnsupported(operation, "source media and other copy styles");
        const QString source = systemPath(fromWide(SourceInfFileName));
        // A missing file is told first, as it is found before rights are needed.
        if (!QFileInfo(source).isFile())
            return fail(ErrorFileNotFound);
        QString name;
        bool wasThere = false;
        const DWORD code = m_machine->changeDevices([&](DeviceList *) {
            std::optional<InfFile> inf;
            QByteArray content;
            const DWORD readCode = readInf(operation, source, &inf, &content);
            if (readCode != Success)
                return readCode;
            if (!(CopyStyle & CopyInfCatalogOnly))
                return storeInf(m_machine.get(), content, &name, &wasThere);
            // No INF has a catalogue here, so nothing is copied.
            name = storedInf(*m_machine, content);
            wasThere = !name.isEmpty();
            return Success;
        });
        if (code != Success)
            return fail(code);

        const QString stored =
            name.isEmpty() ? QString() : windowsPath(m_machine->infFolder() + '/' + name);
        if (DestinationInfFileName) {
            if (!giveText(stored, DestinationInfFileName, DestinationInfFileNameSize, RequiredSize))
                return 0;
            if (DestinationInfFileNameComponent)
                *DestinationInfFileNameComponent =
                    DestinationInfFileName + (stored.size() - name.size());
        } else if (RequiredSize) {
            *RequiredSize = static_cast<DWORD>(stored.size() + 1);
        }
        return wasThere && (CopyStyle & CopyNoOverwrite) ? fail(ErrorFileExists) : 1;
    }

    BOOL SetupDiGetINFClassW(const WCHAR *InfName, Guid *ClassGuid, WCHAR *ClassName,
                             DWORD ClassNameSize, DWORD *RequiredSize)
    {
        if (!InfName || !ClassGuid || !ClassName)
            return fail(ErrorInvalidParameter);
        // A bare name means a file of the store.
        QString path = systemPath(fromWide(InfName));
        if (!path.contains('/'))
            path = m_machine->infFolder() + '/' + path;
        std::optional<InfFile> inf;
        QByteArray content;
        const DWORD code = readInf("SetupDiGetINFClassW", path, &inf, &content);
        if (code != Success)
            return fail(code);
        const auto guid = inf->classGuid();
        if (!guid || inf->className().isEmpty())
            return fail(ErrorNoAssociatedClass);
        // Callers rely on the limit for their buffers.
        if (inf->className().size() >= int(MaxClassNameSize))
            return fail(ErrorInvalidClass);
        if (!giveText(inf->className(), ClassName, ClassNameSize, RequiredSize))
            return 0;
        // The name may not have fitted. Nothing is handed out then.
        *ClassGuid = *guid;
        return 1;
    }

private:
    const std::shared_ptr<Machine> m_machine;
};

} // namespace

DWORD readInf(const char *operation, const QString &path, std::optional<InfFile> *inf,
              QByteArray *content)
{
    if (!QFileInfo(path).isFile())
        return ErrorFileNotFound;
    QString reason;
    *inf = InfFile::read(path, &reason, content);
    if (*inf)
        return Success;
    std::fprintf(stderr, "%s: %s\n", operation, qPrintable(reason));
    return QFile(path).open(QIODevice::ReadOnly) ? ErrorWrongInfStyle : ErrorAccessDenied;
}

QString storedInf(const Machine &machine, const QByteArray &content)
{
    const QDir store(machine.infFolder());
    for (const QString &name : store.entryList({"oem*.inf"}, QDir::Files)) {
        QFile file(store.filePath(name));
        if (file.size() == content.size() && file.open(QIODevice::ReadOnly) &&
            file.readAll() == content)
            return name;
    }
    return QString();
}

DWORD storeInf(Machine *machine, const QByteArray &content, QString *fileName, bool *wasThere)
{
    *fileName = storedInf(*machine, content);
    if (wasThere)
        *wasThere = !fileName->isEmpty();
    if (!fileName->isEmpty())
        return Success;
    int number = 0;
    do {
        *fileName = QString("oem%1.inf").arg(number++);
    } while (QFile::exists(machine->infFolder() + '/' + *fileName));
    return machine->writeInf(*fileName, content);
}

void provideInfStore(Platform *platform, const std::shared_ptr<Machine> &machine)
{
    using F = InfFunctions;
    const auto functions = std::make_shared<F>(machine);
    platform->SetupCopyOEMInfW.provide(functions, &F::SetupCopyOEMInfW);
    platform->SetupDiGetINFClassW.provide(functions, &F::SetupDiGetINFClassW);
}

} // namespace platform
