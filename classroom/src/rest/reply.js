// Replies of the REST interface. Every reply is one JSON object of five members; "data" comes last,
// because presenters take registration data from the text of the reply, from "data" up to the brace
// that closes the reply.
//
// A presenter treats a reply as failed by its HTTP status alone and then reads the first of
// "errorMsgKeys", which must contain "error". 401 is not used: it would make the presenter's network
// layer ask for HTTP credentials.

/** A request that cannot be served: thrown by handlers, answered with the error shape. */
export class RequestError extends Error {
  constructor(status, key, headers = {}) {
    super(key);
    this.status = status;
    this.key = key;
    this.headers = headers;
  }
}

export const failures = {
  invalidJson: () => new RequestError(400, 'request.error.invalidJson'),
  missingField: () => new RequestError(400, 'request.error.missingField'),
  wrongValue: () => new RequestError(400, 'request.error.wrongValue'),
  tooLarge: () => new RequestError(413, 'request.error.tooLarge'),
  tooManyAttempts: (seconds = 1) => new RequestError(429, 'request.error.tooManyAttempts', { 'Retry-After': String(seconds) }),
  unknownPath: () => new RequestError(404, 'request.error.unknownPath'),
  wrongMethod: () => new RequestError(405, 'request.error.wrongMethod'),
  wrongCredentials: () => new RequestError(403, 'login.error.wrongCredentials'),
  wrongDeviceToken: () => new RequestError(403, 'login.error.wrongDeviceToken'),
  wrongOAuthCode: () => new RequestError(403, 'login.error.wrongOAuthCode'),
  wrongCallbackUrl: () => new RequestError(400, 'login.error.wrongCallbackUrl'),
  unknownRegistration: () => new RequestError(403, 'register.error.unknownRegistration'),
  oauthOff: () => new RequestError(403, 'login.error.oauthOff'),
  notSignedIn: () => new RequestError(403, 'login.error.notSignedIn'),
  unknownSession: () => new RequestError(404, 'session.error.unknownSession'),
  foreignSession: () => new RequestError(403, 'session.error.foreignSession'),
  sessionNotStarted: () => new RequestError(400, 'session.error.notStarted'),
  sessionFull: () => new RequestError(429, 'session.error.full'),
  unsupportedVersion: () => new RequestError(400, 'session.error.unsupportedVersion'),
  malformedUpload: () => new RequestError(400, 'resource.error.malformedUpload'),
  notAnImage: () => new RequestError(400, 'resource.error.notAnImage'),
  tooMuchUploaded: () => new RequestError(413, 'resource.error.tooMuch'),
  unknownResource: () => new RequestError(404, 'resource.error.unknownResource'),
};

// How a try to get in without the right words ends.
const WRONG_GUESSES = [
  failures.wrongCredentials, failures.wrongDeviceToken, failures.wrongOAuthCode, failures.unknownRegistration, failures.unknownSession,
].map((failure) => failure().key);

export function isWrongGuess(error) {
  return error instanceof RequestError && WRONG_GUESSES.includes(error.key);
}

/** The body of a successful reply; messages: {infoMsgs, infoMsgKeys}. */
export function successBody(data = {}, { infoMsgs = [], infoMsgKeys = [] } = {}) {
  return JSON.stringify({ success: true, infoMsgs, infoMsgKeys, errorMsgKeys: [], data });
}

export function errorBody(key) {
  return JSON.stringify({ success: false, infoMsgs: [], infoMsgKeys: [], errorMsgKeys: [key], data: {} });
}
