"""What an arm's events go through on their way from the library's callback to who reads them."""

from __future__ import annotations

import threading
from collections import deque
from typing import Callable, Deque

from .errors import EventsLostError
from .events import Event

Handler = Callable[[Event], object]
Match = Callable[[Event], bool]

# At the pace of the line, hours of unread events.
CAPACITY = 100_000


class EventQueue:
    """Filled on the arm's thread, read on any."""

    def __init__(self) -> None:
        self.changed = threading.Condition(threading.RLock())
        self.handlers: list[Handler] = []
        self.wakers: list[Callable[[], None]] = []  # told of every change; called on the arm's thread
        self.handling = 0  # depth of handlers that run
        self._events: Deque[Event] = deque()
        self._errors: Deque[BaseException] = deque()
        self._lost = 0

    def put(self, event: Event) -> None:
        """Files an event and runs the handlers; what they raise is kept until raise_errors."""
        self._append(event)
        self.handling += 1
        try:
            for handler in tuple(self.handlers):
                try:
                    handler(event)
                except BaseException as error:
                    self.fail(error)
        finally:
            self.handling -= 1
        self.wake()

    def file(self, event: Event) -> None:
        """The same without the handlers, from any thread."""
        self._append(event)
        self.wake()

    def _append(self, event: Event) -> None:
        with self.changed:
            if len(self._events) == CAPACITY:
                self._events.popleft()
                self._lost += 1
            self._events.append(event)

    def fail(self, error: BaseException) -> None:
        """Keeps an exception that must not cross into the library."""
        with self.changed:
            self._errors.append(error)
        self.wake()

    def wake(self) -> None:
        with self.changed:
            self.changed.notify_all()
            wakers = tuple(self.wakers)
        for waker in wakers:
            waker()

    def take(self, match: Match | None = None) -> Event | None:
        """Removes the oldest event, or the oldest that matches, and gives it back."""
        with self.changed:
            if self._lost:
                lost, self._lost = self._lost, 0
                raise EventsLostError(lost)
            for index, event in enumerate(self._events):
                if match is None or match(event):
                    del self._events[index]
                    return event
            return None

    def raise_errors(self) -> None:
        """Raises the oldest exception that was kept."""
        with self.changed:
            error = self._errors.popleft() if self._errors else None
        if error is not None:
            raise error
