// Sign-in and account operations.

import { LIMITS } from '../limits.js';
import { checkSourceSystem, field } from './fields.js';
import { failures, successBody } from './reply.js';

// This provider hands its codes only to callback URLs that end in a slash.
const SLASHED_CALLBACK_PROVIDER = 'facebook';

export class SignInCalls {
  #accounts;
  #limits;
  #isOAuthOn;

  /** options: {limits, exposure}. */
  constructor({ accounts }, { limits = LIMITS, exposure }) {
    this.#accounts = accounts;
    this.#limits = limits;
    this.#isOAuthOn = exposure?.oauth !== false;
  }

  get routes() {
    const oauth = { open: true, isAttempt: always, refusal: this.#isOAuthOn ? null : failures.oauthOff };
    return {
      '/vantora': { open: true, anyBody: true, handle: () => ({ body: successBody() }) },
      '/vantora/login/submit': { open: true, isAttempt: always, handle: (context) => this.#submit(context) },
      '/vantora/login/oauth/:provider/callback': { ...oauth, handle: (context) => this.#oauthCallback(context) },
      '/vantora/register/oauth/submit': { ...oauth, handle: (context) => this.#register(context) },
      '/vantora/login/keepSessionAlive': { anyBody: true, handle: () => ({ body: successBody() }) },
      '/vantora/login/user': { open: true, handle: (context) => this.#user(context) },
      '/vantora/login/logout': { open: true, handle: (context) => this.#logout(context) },
    };
  }

  // One path, told apart by the fields: a device token, or a password with or without a new device.
  #submit({ json }) {
    const userId = field(json, 'userId');
    checkSourceSystem(json);
    if ('deviceAccessToken' in json) {
      if (!this.#accounts.hasDeviceToken(userId, field(json, 'deviceId'), field(json, 'deviceAccessToken'))) {
        throw failures.wrongDeviceToken();
      }
      return this.#signedIn(userId, json, { infoMsgKeys: ['login.submit.success'] });
    }
    if (!this.#accounts.hasPassword(userId, field(json, 'password'))) {
      throw failures.wrongCredentials();
    }
    return this.#signedIn(userId, json, { infoMsgs: ['Login success'], infoMsgKeys: ['login.submit.success'] });
  }

  #oauthCallback({ json, params: [provider] }) {
    checkSourceSystem(json);
    checkCallbackUrl(provider, field(json, 'callbackUrl'));
    const who = this.#accounts.redeemCode(provider, field(json, 'code', this.#limits.fieldChars));
    if (!who) {
      throw failures.wrongOAuthCode();
    }
    return who.registration
      ? this.#registrationRequest(provider, who.registration)
      : this.#signedIn(who.userId, json, { infoMsgKeys: ['login.oauth.success'] });
  }

  // The last member has to be a text: presenters put "sourceSystem" behind the last quote.
  #registrationRequest(provider, userLoginId) {
    const data = { registrationToken: this.#accounts.startRegistration(userLoginId), provider, userLoginId, userName: '' };
    return { body: successBody(data, { infoMsgKeys: ['login.oauth.registration.success'] }) };
  }

  // The success has to stand in "infoMsgs", which presenters read first: by these "infoMsgKeys" alone
  // they would ask the user to register once more.
  #register({ json }) {
    checkSourceSystem(json);
    const userId = this.#accounts.finishRegistration(field(json, 'registrationToken'));
    if (userId === null) {
      throw failures.unknownRegistration();
    }
    return this.#signedIn(userId, json, {
      infoMsgs: ['Registration success'],
      infoMsgKeys: ['register.oauth.registration.success'],
    });
  }

  // Not being signed in is an answer here, not a failure: the presenter asks in order to find out.
  #user({ user: userLoginId }) {
    return { body: successBody(userLoginId === null ? {} : { userLoginId }) };
  }

  #logout({ cookie }) {
    this.#accounts.signOut(cookie);
    return { body: successBody({}, { infoMsgKeys: ['login.logout.success'] }) };
  }

  // A device that gives its name wants a token with which it can sign in without a password.
  #signedIn(userId, json, messages) {
    const data = 'deviceName' in json
      ? { deviceAccessToken: this.#accounts.issueDeviceToken(userId, field(json, 'deviceId', this.#limits.fieldChars)) }
      : {};
    return { body: successBody(data, messages), signIn: this.#accounts.signIn(userId) };
  }
}

function always() {
  return true;
}

function checkCallbackUrl(provider, url) {
  const slashed = url.endsWith('/');
  if (!/^https?:\/\//.test(url) || slashed !== (provider === SLASHED_CALLBACK_PROVIDER)) {
    throw failures.wrongCallbackUrl();
  }
}
