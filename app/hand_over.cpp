#include "app/hand_over.h"

#include <QCryptographicHash>
#include <QLocalServer>
#include <QLocalSocket>

#include "platform/lock_file.h"
#include "platform/own_folder.h"
#include "platform/path_resolver.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr int kStepMs = 2000;
constexpr char kHead[] = "TONALITH\n";

}  // namespace

FileHandOver::FileHandOver(const Folders& folders) : folder_(folders.runtime) {
  const QByteArray key = QCryptographicHash::hash(QByteArray::fromStdString(folders.config + "\n" + folders.support),
                                                  QCryptographicHash::Sha256);
  name_ = JoinPath(folder_, "tonalith-" + key.toHex().left(16).toStdString());
}

bool FileHandOver::Give(const std::vector<std::string>& files) const {
  // A socket in a folder of somebody else is not ours, whoever answers.
  if (!MakeOwnFolder(folder_)) return false;
  QLocalSocket socket;
  socket.connectToServer(FromUtf8(name_));
  if (!socket.waitForConnected(kStepMs)) return false;
  QByteArray message(kHead);
  for (const auto& file : files) message += QByteArray::fromStdString(file) + '\n';
  message += '\n';
  socket.write(message);
  // The other process answers when it has taken the files.
  return socket.waitForBytesWritten(kStepMs) && socket.waitForReadyRead(kStepMs) && socket.readAll().startsWith("OK");
}

Result FileHandOver::Listen(std::function<void(const std::vector<std::string>&)> taken) {
  taken_ = std::move(taken);
  // Two processes that find the same dead socket must not remove each other's new one.
  LockFile lock;
  if (Result locked = lock.Take(folder_, FileNameOf(name_) + ".lock", kStepMs); !locked) return locked;
  server_ = new QLocalServer(this);
  server_->setSocketOptions(QLocalServer::UserAccessOption);
  connect(server_, &QLocalServer::newConnection, this, &FileHandOver::Accept);
  // Listening takes the name away from whoever has it, so that comes after looking.  A socket that nobody answers was
  // left by a process that ended badly.
  const QString name = FromUtf8(name_);
  QLocalSocket probe;
  probe.connectToServer(name);
  if (probe.waitForConnected(kStepMs)) return Result::Success();
  QLocalServer::removeServer(name);
  if (server_->listen(name)) return Result::Success();
  return Result::Failure("Other processes cannot hand files over: " + ToUtf8(server_->errorString()) + ".");
}

void FileHandOver::Accept() {
  while (QLocalSocket* socket = server_->nextPendingConnection()) {
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
      constexpr qint64 kMostBytes = 1 << 20;
      if (socket->bytesAvailable() > kMostBytes) {
        socket->abort();
        return;
      }
      const QByteArray soFar = socket->peek(kMostBytes);
      if (!soFar.startsWith(kHead) || !soFar.endsWith("\n\n")) return;
      QByteArray message = socket->readAll();
      std::vector<std::string> files;
      for (const QByteArray& line : message.mid(sizeof kHead - 1).split('\n')) {
        if (!line.isEmpty()) files.push_back(line.toStdString());
      }
      socket->write("OK\n");
      socket->flush();
      socket->disconnectFromServer();
      taken_(files);
    });
  }
}

}  // namespace tonalith
