// The class that all pictures show: a service with simulated learners who wait to be told what to answer, so
// that a picture looks the same each time and has bars of different lengths.

import { startService, until } from '../../classroom/test/support/service.js';

export const PASSWORD = 'apple tree 7'; // in no picture

const NEVER_MS = 600_000; // no learner thinks of an answer of its own in this time

/** A service on this computer whose classes have so many learners. */
export async function startClassroom(t, learners) {
  const { url } = await startService(t, '--password', PASSWORD, '--think', String(NEVER_MS),
    '--learners', String(learners), '--join-every', '0');
  return new Classroom(url, learners);
}

class Classroom {
  #learners;
  #asked = 0; // the number in the journal of the question that was answered last

  constructor(url, learners) {
    this.url = url;
    this.#learners = learners;
  }

  /** The code of the class, when there is one that has all its learners. */
  async code() {
    await until(async () => (await this.#get('learners')).length === this.#learners);
    return (await this.#get('sessions'))[0].code;
  }

  /**
   * Waits for the next question and has the learners answer it: as many as counts says for each option,
   * in turn, so that neighbours in the list differ; the rest is still thinking.
   */
  async answer(counts) {
    const { last, entries } = await this.#get(`journal?kind=publish&type=questionStart&since=${this.#asked}&wait=30000`);
    this.#asked = last;
    const { data: question } = entries[0];
    const learners = await this.#get('learners');
    for (const [i, option] of inTurn(counts).entries()) {
      const { id } = question.activityOptions[option];
      await this.#tellPresenter(learners[i], {
        questionId: question.id,
        studentAssessmentToken: '',
        questionSetMode: question.questionSetMode,
        responseTime: 4000 + 100 * i,
        answer: '',
        optionAnswers: [{ activityOptionId: String(id) }],
      });
    }
  }

  #tellPresenter({ deviceId: from }, payload) {
    const body = { from, type: 'questionResponse' };
    return this.#post('publish', { address: '.presenter', body, text: JSON.stringify(payload), form: 'base64' });
  }

  async #get(what) {
    return (await fetch(`${this.url}/classroom/${what}`)).json();
  }

  async #post(what, json) {
    const headers = { 'Content-Type': 'application/json' };
    const reply = await fetch(`${this.url}/classroom/${what}`, { method: 'POST', headers, body: JSON.stringify(json) });
    if (!reply.ok) {
      throw new Error(`${what}: ${await reply.text()}`);
    }
  }
}

// [2, 3] becomes 0, 1, 0, 1, 1: one of each as long as there is one.
function inTurn(counts) {
  const rounds = Array.from({ length: Math.max(...counts) }, (_, round) => round);
  return rounds.flatMap((round) => counts.flatMap((count, option) => (round < count ? [option] : [])));
}
