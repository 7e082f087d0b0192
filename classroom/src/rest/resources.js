// The resource store: upload by the presenter, download by every device.

import { LIMITS } from '../limits.js';
import { extensionOf, imageTypeOf } from './images.js';
import { parseUploadForm } from './multipart.js';
import { failures, successBody } from './reply.js';

export class ResourceCalls {
  routes = {
    '/vantora/resource/uploadResourceFile': { anyBody: true, maxBytes: 'uploadBytes', handle: (context) => this.#upload(context) },
    '/vantora/resource/downloadResourceFile': { open: true, method: 'GET', handle: (context) => this.#download(context) },
  };

  #resources;
  #limits;

  constructor({ resources }, { limits = LIMITS }) {
    this.#resources = resources;
    this.#limits = limits;
  }

  #upload({ headers, bytes, user, remark }) {
    const { fileName, file } = this.#readForm(headers['content-type'], bytes, remark);
    const contentType = imageTypeOf(file);
    if (contentType === null) {
      throw failures.notAnImage();
    }
    const kept = this.#resources.add(user, { fileName, bytes: file, contentType });
    if (!kept) {
      throw failures.tooMuchUploaded();
    }
    return { body: successBody(kept, { infoMsgKeys: ['resource.upload.success'] }) };
  }

  #readForm(contentType, bytes, remark) {
    try {
      return parseUploadForm(contentType, bytes, this.#limits.fieldChars);
    } catch (error) {
      remark(error.message);
      throw failures.malformedUpload();
    }
  }

  // The name is not the teacher's: what a device saves is an image and nothing else.
  #download({ query }) {
    const resource = this.#resources.get(query.get('resourceId'));
    if (!resource) {
      throw failures.unknownResource();
    }
    const { bytes, contentType } = resource;
    const headers = { 'Content-Disposition': `inline; filename="image.${extensionOf(contentType)}"` };
    return { body: bytes, contentType, headers };
  }
}
