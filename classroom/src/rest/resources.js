// The resource store: upload by the presenter, download by every device.

import { parseUploadForm } from './multipart.js';
import { failures, successBody } from './reply.js';

export class ResourceCalls {
  routes = {
    '/vantora/resource/uploadResourceFile': { anyBody: true, handle: (context) => this.#upload(context) },
    '/vantora/resource/downloadResourceFile': { open: true, method: 'GET', handle: (context) => this.#download(context) },
  };

  #resources;

  constructor({ resources }) {
    this.#resources = resources;
  }

  #upload({ headers, bytes, remark }) {
    let form;
    try {
      form = parseUploadForm(headers['content-type'], bytes);
    } catch (error) {
      remark(error.message);
      throw failures.malformedUpload();
    }
    return { body: successBody(this.#resources.add(form.fileName, form.file), { infoMsgKeys: ['resource.upload.success'] }) };
  }

  #download({ query }) {
    const resource = this.#resources.get(query.get('resourceId'));
    if (!resource) {
      throw failures.unknownResource();
    }
    return { body: resource.bytes, contentType: resource.contentType };
  }
}
