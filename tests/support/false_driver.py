"""Something that serves a driver's socket and is none."""

import socket
import threading


class FalseDriver:
    """Serves a socket with something that is no driver: `speak(connection)` for each who connects."""

    def __init__(self, path, speak):
        self._speak = speak
        self._open = []
        self._lock = threading.Lock()
        self._ends = False
        self._listening = socket.socket(socket.AF_UNIX)
        self._listening.bind(str(path))
        self._listening.listen(64)
        self._thread = threading.Thread(target=self._serve)
        self._thread.start()

    def _serve(self):
        while True:
            try:
                connection, _ = self._listening.accept()
            except OSError:
                return
            with self._lock:
                if self._ends:
                    connection.close()
                    return
                self._open.append(connection)
            try:
                self._speak(connection)
            except OSError:
                pass

    def close(self):
        with self._lock:
            self._ends = True
            for each in self._open:
                try:
                    each.shutdown(socket.SHUT_RDWR)
                except OSError:
                    pass
        self._listening.shutdown(socket.SHUT_RDWR)
        self._thread.join()
        for each in [*self._open, self._listening]:
            each.close()
