// What the service bears: one table of named bounds. They hold for learners, remotes and whoever has not
// said yet who it is; presenters and the test's own connections have the client library's bounds, which
// stand here too, and no rate. Tests make a bound smaller with --limit NAME=VALUE.

const KIB = 1024;
const MIB = 1024 * KIB;
const SECOND = 1_000;
const MINUTE = 60 * SECOND;

export const LIMITS = {
  // REST
  bodyBytes: 64 * KIB, // of a request; an upload has its own
  uploadBytes: 10 * MIB, // of one uploaded image, with its form
  uploadTotalBytes: 100 * MIB, // of all that a teacher has uploaded and whose session has not ended
  headerMs: 10 * SECOND, // for the header of a request, and for the handshake of TLS
  bodyMs: 30 * SECOND, // for the whole request
  responseMs: 30 * SECOND, // without progress in taking a reply
  nameChars: 64, // of a learner's name, a device's name and type
  fieldChars: 1_000, // of every other text that is kept
  failedAttempts: 10, // joins and sign-ins a minute, from one address
  failedAttemptsOfAll: 60, // a minute, from all addresses; beyond, they wait for their turn
  attemptMs: 1 * SECOND, // between two of those that wait for their turn
  waitingAttempts: 60, // that wait for their turn; the next is refused
  rememberedAddresses: 10_000, // from which an attempt has failed

  // Who may stay, and how long
  signInsOfTeacher: 100,
  deviceTokensOfTeacher: 100,
  deviceTokenMs: 90 * 24 * 60 * MINUTE,
  registrationMs: 10 * MINUTE, // for a registration to be finished
  registrations: 1_000, // that have not been finished, and as many that have
  usedCodes: 10_000, // of OAuth that are remembered
  sessionsOfTeacher: 20, // that have not ended; the oldest makes room
  usersOfSession: 2_100,
  joiningMs: 30 * SECOND, // from the join to the first connection, of learners and remotes
  awayMs: 10 * MINUTE, // a user's token outlives its line
  presenterAwayMs: 10 * MINUTE, // a session outlives its presenter's line

  // The bus
  connections: 2_100,
  proofMs: 10 * SECOND, // from a connection's opening to the token that says who it is
  waitingForProof: 8, // envelopes
  unprovenBytes: 64 * KIB, // of a bus message before the token has come
  messageBytes: 256 * KIB, // of a bus message of a learner or a remote
  addresses: 8, // of a connection
  addressChars: 200,
  envelopeDepth: 32,
  answerChars: 10_000,
  payloadBytes: 128 * KIB, // of a learner's data, unpacked: an answer of 10,000 characters and what is around it
  decodingMs: 2 * SECOND, // for messages to be unpacked: several times as long as it takes
  decodingMsPerMib: 1 * SECOND, // and for each MiB more: of what is sent, then of what it declares
  messagesPerSecond: 20, // of a connection; the next is read later
  confirmingMs: 100, // without an answer, before answers are confirmed: the presenter comes first
  behindMs: 10 * SECOND, // that a connection may be read later; then it is cut
  framesOfMessage: 64, // of a web socket
  controlFramesPerSecond: 20, // of a web socket
  waitingBytes: 8 * MIB, // for a device that reads slowly; then it is cut
  stalledMs: 60 * SECOND, // that a device may take nothing of what waits for it

  // Presenters, and the connections of tests
  presenterBytes: 64 * MIB, // of a bus message, packed and unpacked
  presenterWaitingBytes: 64 * MIB,
};

/** The table with some bounds changed: {name: number}. */
export function limitsWith(changes = {}) {
  return { ...LIMITS, ...changes };
}
