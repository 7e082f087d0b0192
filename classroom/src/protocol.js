// What every presenter and device says of itself, and what a remote controller says at all.

export const PROTOCOL_VERSION = '3.0.0';
export const SOURCE_SYSTEM = 'Corvel';

/** The commands of a remote controller: the types of its messages. */
export const REMOTE_TYPES = [
  'requestLessonInfo', 'requestLesson', 'presenterActive', 'pause', 'resume', 'lockAll', 'unlockAll',
  'nextCard', 'previousCard', 'pushCurrentCard', 'addImageCard', 'stopSession',
];
